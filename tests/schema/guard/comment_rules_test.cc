// The schema is commented as its readers need, and the check sees where it is not.

#include "comment_rules.h"

#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace CmnSys::SchemaGuard {
namespace {

Findings FaultsOf(const SchemaSet& schema) {
  Findings findings;
  FindCommentFaults(schema, &findings);
  return findings;
}

TEST(Comments, TheSchemaHasThem) {
  const Findings findings = FaultsOf(SchemaSet(ReadDescriptorSet(CMNSYS_DESCRIPTOR_SET)));
  EXPECT_TRUE(findings.all().empty()) << "The schema's comments have faults:\n" << findings.Text();
}

SchemaSet SchemaOf(const std::string& text) {
  google::protobuf::io::ArrayInputStream input(text.data(), static_cast<int>(text.size()));
  google::protobuf::io::Tokenizer tokenizer(&input, nullptr);
  google::protobuf::FileDescriptorSet set;
  google::protobuf::FileDescriptorProto* file = set.add_file();
  if (!google::protobuf::compiler::Parser().Parse(&tokenizer, file)) {
    throw std::logic_error("does not parse:\n" + text);
  }
  file->set_name("ProtoBuf/CmnSys/CmnSys.Test.proto");
  return SchemaSet(set);
}

// The first declaration after this has a comment, unless an empty line comes first.
constexpr char kHeader[] =
    "// Where fruit is kept.\n\nsyntax = \"proto2\";\npackage P;\n\n// Fruit.\n";

struct Case {
  const char* name;
  // Follows on kHeader.
  const char* declarations;
  // Name in the package and problem of the only finding.
  const char* place;
  const char* problem;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class CommentFault : public testing::TestWithParam<Case> {};

TEST_P(CommentFault, IsReported) {
  const Findings findings = FaultsOf(SchemaOf(std::string(kHeader) + GetParam().declarations));
  ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
  const Finding& finding = findings.all()[0];
  EXPECT_EQ(finding.place.substr(finding.place.rfind(' ') + 1),
            std::string("P.") + GetParam().place);
  EXPECT_NE(finding.problem.find(GetParam().problem), std::string::npos) << finding.problem;
}

INSTANTIATE_TEST_SUITE_P(
    Each, CommentFault,
    testing::ValuesIn(std::vector<Case>{
        {"NestedMessage", "message A { message B {} }", "A.B", "no comment"},
        {"Field", "message A { optional int32 x = 1; }", "A.x", "no comment"},
        {"Value", "enum E { X = 0; }", "E.X", "no comment"},
        {"Extension", "message A { extensions 5; }\nextend A { optional int32 x = 5; }", "x",
         "no comment"},
        {"Service", "\nservice S {}", "S", "no comment"},
        {"Method", "message A {}\n// Sells.\nservice S { rpc M(A) returns (A); }", "S.M",
         "no comment"},
        {"CommentOfTheFieldBefore",
         "message A {\n// Weight and price.\noptional int32 x = 1; optional int32 y = 2; }", "A.y",
         "no comment"},
        {"Misspelt", "message A {\n// Answers.\noptional int32 reponses = 1; }", "A.reponses",
         "misspelt"},
        {"OnlyMisspelt", "message A {\n// Misspelt.\noptional int32 reponses = 1; }", "A.reponses",
         "does not say what it means"},
        {"OnlyUnusedNumbers",
         "message A {\n// Numbers 1 to 3 are unused. Number 9 is free.\noptional int32 x = 4; }",
         "A.x", "does not say what it means"},
        {"Placeholder", "\n// TODO: explain\nmessage A {}", "A", "placeholder"},
        {"Empty", "\n//\nmessage A {}", "A", "placeholder"},
        {"NameOfAValue", "enum E {\n// The deep red.\nE_DEEP_RED = 0; }", "E.E_DEEP_RED",
         "only what the name says"},
        {"NameOfARequest", "\n// Request of Sell.\nmessage SellReq {}", "SellReq", "only what"},
        {"NameBesideAGap",
         "message A {\n// The weight. Number 2 is unused.\noptional int32 weight = 3; }",
         "A.weight", "only what the name says"},
        {"NameOfAFieldAndItsType",
         "message Crate {\n// Crate of the parent.\noptional Crate parent = 1; }", "Crate.parent",
         "only what the name says"},
        {"DurationWithoutUnit", "message A {\n// Until it is ripe.\noptional int64 delay = 1; }",
         "A.delay", "unit"},
    }),
    [](const testing::TestParamInfo<Case>& tested) { return std::string(tested.param.name); });

TEST(Comments, ThatSayEnoughAreNotReported) {
  const std::string declarations = R"(
// Fruit that is sold together.
message FruitBasket {
  // Numbers 1 to 3 are unused.

  // How much the buyer takes (TYPE_CRATE). Number 5 is unused.
  optional int32 crate = 4;

  // What the seller says. Misspelt.
  optional int32 reponses = 6;
  // Until it is ripe.
  optional int64 delay_ms = 7;
  // Until it is sold, in hours.
  optional int64 sale_interval = 8;
  // When it was picked.
  optional int64 start_time = 9;
  // How old; not a number.
  optional string age = 10;
}
)";
  EXPECT_EQ(FaultsOf(SchemaOf(kHeader + declarations)).Text(), "");
}

TEST(Comments, AFileBeginsWithOne) {
  const std::string file = "syntax = \"proto2\";\npackage P;\n// Fruit.\nmessage A {}";
  const char* const headers[][2] = {{"", "without a comment"}, {"// TODO\n\n", "placeholder"}};
  for (const auto& [header, problem] : headers) {
    const Findings findings = FaultsOf(SchemaOf(header + file));
    ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
    EXPECT_NE(findings.all()[0].problem.find(problem), std::string::npos) << findings.Text();
  }
}

}  // namespace
}  // namespace CmnSys::SchemaGuard
