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

TEST(Comments, TheSchemaHasThem) {
  const SchemaSet schema(ReadDescriptorSet(CMNSYS_DESCRIPTOR_SET));
  Findings findings;
  FindCommentFaults(schema, &findings);
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

constexpr char kHeader[] = "// Fruit and where it is kept.\n\nsyntax = \"proto2\";\npackage P;\n";

struct Case {
  const char* name;
  // Follows on kHeader.
  const char* declarations;
  // Name and problem of the only finding; without them the declarations have no fault.
  const char* place = "";
  const char* problem = "";
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class CommentCase : public testing::TestWithParam<Case> {};

TEST_P(CommentCase, IsJudged) {
  Findings findings;
  FindCommentFaults(SchemaOf(std::string(kHeader) + GetParam().declarations), &findings);
  if (GetParam().place[0] == '\0') {
    EXPECT_EQ(findings.Text(), "");
    return;
  }
  ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
  const Finding& finding = findings.all()[0];
  EXPECT_EQ(finding.place.substr(finding.place.rfind(' ') + 1), GetParam().place);
  EXPECT_NE(finding.problem.find(GetParam().problem), std::string::npos) << finding.problem;
}

std::string NameOf(const testing::TestParamInfo<Case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Coverage, CommentCase,
    testing::ValuesIn(std::vector<Case>{
        {"Message", "message A {}", "P.A", "no comment"},
        {"NestedMessage", "// Holds b.\nmessage A { message B {} }", "P.A.B", "no comment"},
        {"Enum", "enum E { X = 0; }", "P.E", "no comment"},
        {"Extension", "// Open.\nmessage A { extensions 5; }\nextend A { optional int32 x = 5; }",
         "P.x", "no comment"},
        {"Service", "service S {}", "P.S", "no comment"},
        {"Method", "// Empty.\nmessage A {}\n// Sells.\nservice S { rpc M(A) returns (A); }",
         "P.S.M", "no comment"},
        {"FieldsMayHaveNone", "// Fruit.\nmessage A { optional int32 x = 1; optional A y = 2; }"},
        {"NumberAfterAGap", "// Fruit.\nmessage A { optional int32 x = 1; optional int32 y = 4; }",
         "P.A.y", "number 4 follows on 1"},
        {"FirstNumberNotOne", "// Fruit.\nmessage A { optional int32 x = 3; }", "P.A.x",
         "number 3 follows on 0"},
        {"NumbersInAnotherOrder",
         "// Fruit.\nmessage A { optional int32 x = 1;\n// Third.\noptional int32 z = 3;"
         " optional int32 y = 2; }",
         "P.A.y", "number 2 follows on 3"},
        {"GapToldByTheMessage",
         "// Fruit; 2 and 3 stay free.\nmessage A { optional int32 x = 1; optional int32 y = 4; }"},
        {"ValueAfterAGap", "// Fruit.\nenum E { X = 0; Y = 2; }", "P.E.Y", "number 2 follows on 0"},
        {"FirstValueNotZero", "// Fruit.\nenum E { X = 999; Y = 1000; }", "P.E.X",
         "begins with 999"},
        {"FirstValueToldByTheEnum", "// Fruit, from 999.\nenum E { X = 999; Y = 1000; }"},
        {"OddDefault", "// Fruit.\nmessage A { optional bool x = 1 [default = true]; }", "P.A.x",
         "default"},
        {"PlainDefault", "// Fruit.\nmessage A { optional bool x = 1 [default = false]; }"},
        {"Deprecated", "// Fruit.\nmessage A { optional bool x = 1 [deprecated = true]; }", "P.A.x",
         "deprecated"},
        {"Selector",
         "// Fruit.\nenum KindType { KIND_TYPE_NONE = 0; KIND_TYPE_APPLE = 1; KIND_TYPE_PEAR = 2; }"
         "\n// Basket.\nmessage A { optional KindType k = 1; optional A the_apple = 2;"
         " optional A pear = 3; }",
         "P.A.k", "selects the payload"},
        {"EnumThatSelectsNothing",
         "// Fruit.\nenum KindType { KIND_TYPE_NONE = 0; KIND_TYPE_APPLE = 1; KIND_TYPE_PEAR = 2; }"
         "\n// Basket.\nmessage A { optional KindType k = 1; optional A stone = 2; }"},
        {"Misspelt", "// Box.\nmessage A { optional int32 reponses = 1; }", "P.A.reponses",
         "misspelt"},
        {"MisspeltAndSaidSo", "// Box.\nmessage A {\n// Spelt so.\noptional int32 reponses = 1; }"},
    }),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Content, CommentCase,
    testing::ValuesIn(std::vector<Case>{
        {"Placeholder", "// TODO: explain\nmessage A {}", "P.A", "placeholder"},
        {"Dots", "// The fruit...\nmessage A {}", "P.A", "placeholder"},
        {"Empty", "//\nmessage A {}", "P.A", "placeholder"},
        {"NameOfAMessage", "// The fruit baskets.\nmessage FruitBasket {}", "P.FruitBasket",
         "only what the name says"},
        {"NameOfAValue", "// Colour.\nenum E {\n// The deep red.\nE_DEEP_RED = 0; }",
         "P.E.E_DEEP_RED", "only what the name says"},
        {"NameOfARequest", "// Request of Sell.\nmessage SellReq {}", "P.SellReq",
         "only what the name says"},
        {"NameOfAFieldAndItsType",
         "// Wood.\nmessage Crate {\n// Crate of the parent.\noptional Crate parent = 1; }",
         "P.Crate.parent", "only what the name says"},
        {"MoreThanTheName", "// Fruit that is sold together.\nmessage FruitBasket {}"},
        {"AConstantSaysMore",
         "// Wood.\nmessage A {\n// Crate (TYPE_CRATE).\noptional int32 crate = 1; }"},
    }),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Units, CommentCase,
    testing::ValuesIn(std::vector<Case>{
        {"None", "// Ripe.\nmessage A { optional int64 start_time = 1; }", "P.A.start_time",
         "unit"},
        {"InTheName", "// Ripe.\nmessage A { optional int64 time_ms = 1; }"},
        {"InTheGroup",
         "// Ripe.\nmessage A {\n// In seconds.\noptional int64 start_time = 1;"
         " optional int64 endTime = 2; }"},
        {"OnlyInAnotherGroup",
         "// Ripe.\nmessage A {\n// In seconds.\noptional int64 start_time = 1;"
         "\n// Of ripening.\noptional int64 end_time = 2; }",
         "P.A.end_time", "unit"},
        {"InTheMessage", "// Times in days.\nmessage A { optional int64 time = 1; }"},
        {"InTheOuterMessage",
         "// Times in days.\nmessage A {\n// Nest.\nmessage B { optional int64 time = 1; } }"},
        {"NotANumber", "// Ripe.\nmessage A { optional string start_time = 1; }"},
    }),
    NameOf);

TEST(Comments, AFileBeginsWithOne) {
  const std::string file = "syntax = \"proto2\";\npackage P;\n// Fruit.\nmessage A {}";
  const char* const headers[][2] = {{"", "without a comment"}, {"// TODO\n\n", "placeholder"}};
  for (const auto& [header, problem] : headers) {
    Findings findings;
    FindCommentFaults(SchemaOf(header + file), &findings);
    ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
    EXPECT_NE(findings.all()[0].problem.find(problem), std::string::npos) << findings.Text();
  }
}

}  // namespace
}  // namespace CmnSys::SchemaGuard
