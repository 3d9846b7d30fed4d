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
        {"Enum", "\nenum E { X = 0; }", "E", "no comment"},
        {"Extension", "message A { extensions 5; }\nextend A { optional int32 x = 5; }", "x",
         "no comment"},
        {"Service", "\nservice S {}", "S", "no comment"},
        {"Method", "message A {}\n// Sells.\nservice S { rpc M(A) returns (A); }", "S.M",
         "no comment"},
        {"NumberAfterAGap", "message A { optional int32 y = 4; }", "A.y", "number 4 follows on 0"},
        {"ValueAfterAGap", "enum E { X = 0; Y = 2; }", "E.Y", "number 2 follows on 0"},
        {"FirstValueNotZero", "enum E { X = 999; Y = 1000; }", "E.X", "begins with 999"},
        {"OddDefault", "message A { optional bool x = 1 [default = true]; }", "A.x", "default"},
        {"Deprecated", "message A { optional bool x = 1 [deprecated = true]; }", "A.x",
         "deprecated"},
        {"Selector",
         "enum KindType { KIND_TYPE_NONE = 0; KIND_TYPE_APPLE = 1; KIND_TYPE_PEAR = 2; }"
         "\n// Basket.\nmessage A { optional KindType k = 1; optional A the_apple = 2;"
         " optional A pear = 3; }",
         "A.k", "selects the payload"},
        {"Misspelt", "message A { optional int32 reponses = 1; }", "A.reponses", "misspelt"},
        {"Placeholder", "\n// TODO: explain\nmessage A {}", "A", "placeholder"},
        {"Empty", "\n//\nmessage A {}", "A", "placeholder"},
        {"NameOfAValue", "enum E {\n// The deep red.\nE_DEEP_RED = 0; }", "E.E_DEEP_RED",
         "only what the name says"},
        {"NameOfARequest", "\n// Request of Sell.\nmessage SellReq {}", "SellReq", "only what"},
        {"NameOfAFieldAndItsType",
         "message Crate {\n// Crate of the parent.\noptional Crate parent = 1; }", "Crate.parent",
         "only what the name says"},
        {"UnitOnlyInAnotherGroup",
         "message A {\n// In seconds.\noptional int64 start_time = 1;"
         "\n// Of ripening.\noptional int64 end_time = 2; }",
         "A.end_time", "unit"},
    }),
    [](const testing::TestParamInfo<Case>& tested) { return std::string(tested.param.name); });

TEST(Comments, WhereNoneIsNeededOrOneSaysEnoughNothingIsReported) {
  const std::string declarations = R"(
// Fruit that is sold together; 2 and 3 stay free.
message FruitBasket { optional int32 x = 1; optional bool y = 4 [default = false]; }

// Fruit, from 999.
enum FirstValueTold { X = 999; Y = 1000; }

// Fruit.
enum KindType { KIND_TYPE_NONE = 0; KIND_TYPE_APPLE = 1; KIND_TYPE_PEAR = 2; }

// Has fields that an apple and a pear lack.
message KindSelectsNothing {
  optional KindType k = 1;
  optional FruitBasket stone = 2;
  // Spelt so.
  optional int32 reponses = 3;
  // Crate (TYPE_CRATE).
  optional int32 crate = 4;
  // Not a number.
  optional string event_time = 5;
}

// Ripe.
message UnitInTheNameOrTheGroup {
  optional int64 time_ms = 1;
  // In seconds.
  optional int64 start_time = 2;
  optional int64 endTime = 3;
}

// Times in days.
message UnitInTheMessage {
  optional int64 time = 1;

  // Nest.
  message Inner { optional int64 time = 1; }
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
