// The schema keeps the contract that the baseline states, and the guard sees what would break it.

#include "contract.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "additions.h"
#include "free_numbers.h"
#include "support/files.h"
#include "support/process.h"

namespace CmnSys::SchemaGuard {
namespace {

using google::protobuf::DescriptorProto;
using google::protobuf::EnumDescriptorProto;
using google::protobuf::EnumValueDescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;
using google::protobuf::RepeatedPtrField;
using google::protobuf::ServiceDescriptorProto;

const FileDescriptorSet& Current() {
  static const auto* const set = new FileDescriptorSet(ReadDescriptorSet(CMNSYS_DESCRIPTOR_SET));
  return *set;
}

// Quicker to build a schema of.
const FileDescriptorSet& CurrentWithoutComments() {
  static const auto* const set = [] {
    auto* result = new FileDescriptorSet(Current());
    for (FileDescriptorProto& file : *result->mutable_file()) file.clear_source_code_info();
    return result;
  }();
  return *set;
}

Findings Check(const SchemaSet& baseline, const SchemaSet& current) {
  Findings findings;
  FindBreaches(baseline, current, &findings);
  FindForbiddenAdditions(baseline, current, &findings);
  FindUsedFreeNumbers(current, &findings);
  return findings;
}

TEST(Contract, TheSchemaKeepsIt) {
  const SchemaSet baseline(ReadDescriptorSet(CMNSYS_BASELINE_SET));
  const SchemaSet current(Current());
  EXPECT_GE(baseline.files().size(), 65U);
  const Findings findings = Check(baseline, current);
  EXPECT_TRUE(findings.all().empty())
      << "The schema breaks its contract (see docs/schema-changes.md):\n"
      << findings.Text();
}

// A baseline that lost something on its way through the file would guard less than it seems to.
TEST(Contract, AWrittenBaselineReadsBackAsTheSchema) {
  const CmnSys::Test::TemporaryFolder folder;
  const auto written =
      CmnSys::Test::Run({CMNSYS_WRITE_BASELINE, CMNSYS_DESCRIPTOR_SET, folder.path()});
  ASSERT_EQ(written.status, 0) << written.errors;
  std::vector<std::string> protoc = {CMNSYS_PROTOC, "--descriptor_set_in=" CMNSYS_DESCRIPTOR_SET,
                                     "-o" + folder.PathOf("set")};
  const SchemaSet schema(Current());
  for (const auto* file : schema.files()) {
    const std::string name = std::filesystem::path(file->name()).stem().string();
    protoc.push_back("-I" + file->name() + "=" + folder.PathOf(name + ".txt"));
    protoc.push_back(file->name());
  }
  const auto compiled = CmnSys::Test::Run(protoc);
  ASSERT_EQ(compiled.status, 0) << compiled.errors;

  FileDescriptorSet read = ReadDescriptorSet(folder.PathOf("set"));
  ASSERT_EQ(read.file_size(), static_cast<int>(schema.files().size()));
  for (FileDescriptorProto& file : *read.mutable_file()) {
    RemoveDerivedNames(&file);
    FileDescriptorProto expected;
    schema.pool().FindFileByName(file.name())->CopyTo(&expected);
    EXPECT_EQ(file.SerializeAsString(), expected.SerializeAsString()) << file.name();
  }
}

template <class Item>
Item& Named(RepeatedPtrField<Item>* items, const std::string& name) {
  for (Item& item : *items) {
    if (item.name() == name) return item;
  }
  throw std::logic_error("the schema has no " + name + "; the test must be changed");
}

// The schema with names for its parts, for a test to change.
struct Schema {
  FileDescriptorSet set = CurrentWithoutComments();

  FileDescriptorProto& File(const std::string& area) {
    return Named(set.mutable_file(), "ProtoBuf/CmnSys/CmnSys." + area + ".proto");
  }
  DescriptorProto& Message(const std::string& area, const std::string& name) {
    return Named(File(area).mutable_message_type(), name);
  }
  FieldDescriptorProto& Field(const std::string& area, const std::string& message,
                              const std::string& name) {
    return Named(Message(area, message).mutable_field(), name);
  }
  EnumDescriptorProto& Enum(const std::string& area, const std::string& name) {
    return Named(File(area).mutable_enum_type(), name);
  }
  ServiceDescriptorProto& Service(const std::string& area) {
    return *File(area).mutable_service(0);
  }
};

FieldDescriptorProto* AddField(DescriptorProto* message, int number) {
  FieldDescriptorProto* field = message->add_field();
  field->set_name("added");
  field->set_number(number);
  field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
  field->set_type(FieldDescriptorProto::TYPE_INT32);
  return field;
}

void AddValue(EnumDescriptorProto* type, int number) {
  EnumValueDescriptorProto* value = type->add_value();
  value->set_name("ADDED");
  value->set_number(number);
}

// An extension for another kind of event.
void AddEvent(FileDescriptorProto* events, int number) {
  FieldDescriptorProto* extension = events->add_extension();
  *extension = events->extension(0);
  extension->set_name("added");
  extension->set_number(number);
}

void AddMethod(ServiceDescriptorProto* service) {
  auto* method = service->add_method();
  *method = service->method(0);
  method->set_name("Added");
}

// Moves the last item to `index`; those from there on move up by one.
template <class Item>
void MoveLastTo(RepeatedPtrField<Item>* items, int index) {
  for (int i = items->size() - 1; i > index; --i) items->SwapElements(i, i - 1);
}

std::string WithoutLine(const std::string& place) {
  const std::size_t name = place.find(": ");
  return name == std::string::npos ? place : place.substr(0, place.find(':')) + place.substr(name);
}

struct Change {
  const char* name;
  std::function<void(Schema&)> apply;
  // The one finding that the change must give: its place without the line, and part of what it
  // says.
  const char* place;
  const char* problem;
};

void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

std::string NameOf(const testing::TestParamInfo<Change>& info) { return info.param.name; }

TEST(Contract, AFindingNamesTheLine) {
  Schema schema{Current()};
  schema.Field("Gid", "Gid", "type").set_number(70);
  const Findings findings = Check(SchemaSet(Current()), SchemaSet(schema.set));
  ASSERT_EQ(findings.all().size(), 1U);
  const std::string& place = findings.all()[0].place;
  const int line = std::stoi(place.substr(place.find(':') + 1));

  std::ifstream file(CMNSYS_SOURCE_DIR "/ProtoBuf/CmnSys/CmnSys.Gid.proto");
  std::string text;
  for (int i = 0; i < line; ++i) std::getline(file, text);
  EXPECT_EQ(text, "  optional GidType type = 7;");
}

class ContractChange : public testing::TestWithParam<Change> {};

TEST_P(ContractChange, IsReported) {
  Schema schema;
  GetParam().apply(schema);
  const Findings findings = Check(SchemaSet(CurrentWithoutComments()), SchemaSet(schema.set));
  ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
  const Finding& finding = findings.all()[0];
  EXPECT_EQ(WithoutLine(finding.place), std::string("ProtoBuf/CmnSys/CmnSys.") + GetParam().place);
  EXPECT_NE(finding.problem.find(GetParam().problem), std::string::npos) << finding.problem;
}

INSTANTIATE_TEST_SUITE_P(
    Breaking, ContractChange,
    testing::ValuesIn(std::vector<Change>{
        {"FieldRenumbered", [](Schema& s) { s.Field("Gid", "Gid", "type").set_number(70); },
         "Gid.proto: Pb.CmnSys.Gid.type", R"(was "optional .Pb.CmnSys.GidType type = 7;")"},
        {"FieldOfAnotherType",
         [](Schema& s) { s.Field("Gid", "Gid", "id").set_type(FieldDescriptorProto::TYPE_STRING); },
         "Gid.proto: Pb.CmnSys.Gid.id", R"(now "optional string id = 1;")"},
        {"FieldWithoutItsDefault",
         [](Schema& s) { s.Field("SavedViews", "PanelRoi", "nx").clear_default_value(); },
         "SavedViews.proto: Pb.CmnSys.SavedViews.PanelRoi.nx", "[default = 0]"},
        {"FieldUnpacked",
         [](Schema& s) { s.Field("Storage", "AccessUnits", "length_diffs").clear_options(); },
         "Storage.proto: Pb.CmnSys.Stor.AccessUnits.length_diffs", "[packed = true]"},
        {"FieldRenamed",
         [](Schema& s) {
           FieldDescriptorProto& field = s.Field("Gid", "Gid", "id");
           field.clear_json_name();
           field.set_name("ident");
         },
         "Gid.proto: Pb.CmnSys.Gid.ident", R"(was named "id")"},
        {"FieldRemoved", [](Schema& s) { s.Message("Gid", "Gid").mutable_field()->RemoveLast(); },
         "Gid.proto: Pb.CmnSys.Gid", R"(the field "type" is gone)"},
        {"FieldsInAnotherOrder",
         [](Schema& s) { s.Message("Gid", "Gid").mutable_field()->SwapElements(1, 2); },
         "Gid.proto: Pb.CmnSys.Gid.server_id", R"("data_store_id" is due)"},
        {"FieldAtAFreeNumber", [](Schema& s) { AddField(&s.Message("Gid", "Gid"), 6); },
         "Gid.proto: Pb.CmnSys.Gid.added", "number 6 of Pb.CmnSys.Gid must stay free"},
        {"ValueRenumbered",
         [](Schema& s) { s.Enum("Gid", "GidType").mutable_value(3)->set_number(99); },
         "Gid.proto: Pb.CmnSys.GidType.GID_TYPE_SAVED_VIEW", "was \"GID_TYPE_SAVED_VIEW = 3;\""},
        {"ValueAtAFreeNumber", [](Schema& s) { AddValue(&s.Enum("Gid", "GidType"), 33); },
         "Gid.proto: Pb.CmnSys.GidType.ADDED", "number 33 of Pb.CmnSys.GidType must stay free"},
        {"ValueAddedFirst",
         [](Schema& s) {
           AddValue(&s.Enum("Gid", "GidType"), 36);
           MoveLastTo(s.Enum("Gid", "GidType").mutable_value(), 0);
         },
         "Gid.proto: Pb.CmnSys.GidType.ADDED", "default"},
        {"AliasesAllowed",
         [](Schema& s) {
           s.Enum("Gid", "GidType").mutable_options()->set_allow_alias(true);
           AddValue(&s.Enum("Gid", "GidType"), 35);
         },
         "Gid.proto: Pb.CmnSys.GidType", "allow_alias"},
        {"MessageRenamed",
         [](Schema& s) {
           s.Message("Notifications", "NotificationList").set_name("Notifications");
         },
         "Notifications.proto", R"(the message "NotificationList" is gone)"},
        {"NestedMessageAddedBetween",
         [](Schema& s) {
           s.Message("Storage", "Usage").add_nested_type()->set_name("Added");
           MoveLastTo(s.Message("Storage", "Usage").mutable_nested_type(), 0);
         },
         "Storage.proto: Pb.CmnSys.Stor.Usage.Added", R"(before the old "Tier")"},
        {"NameReserved", [](Schema& s) { s.Message("Gid", "Gid").add_reserved_name("old"); },
         "Gid.proto: Pb.CmnSys.Gid", "reserved_name"},
        {"ExtensionRenumbered",
         [](Schema& s) { s.File("Events").mutable_extension(0)->set_number(9999); },
         "Events.proto: Pb.CmnSys.Events.event_app_server_start", "= 100; }"},
        {"ExtensionAtAFreeNumber", [](Schema& s) { AddEvent(&s.File("Events"), 1307); },
         "Events.proto: Pb.CmnSys.Events.added", "number 1307 of Pb.CmnSys.Events.Event"},
        {"MethodWithAnotherResponse",
         [](Schema& s) {
           s.Service("SvcQuery").mutable_method(0)->set_output_type(".Pb.Rpc.SvcQuery.AbortRsp");
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Initiate", "returns (.Pb.Rpc.SvcQuery.AbortRsp)"},
        {"MethodAddedBetween",
         [](Schema& s) {
           AddMethod(&s.Service("SvcQuery"));
           MoveLastTo(s.Service("SvcQuery").mutable_method(), 2);
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Added", R"(before the old "Abort")"},
        // A custom option, whose declaration this program does not know.
        {"ServiceOptionRemoved",
         [](Schema& s) {
           auto* options = s.Service("SvcQuery").mutable_options();
           options->mutable_unknown_fields()->DeleteByNumber(50002);
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query", "50002: 1"},
        {"ImportsInAnotherOrder",
         [](Schema& s) { s.File("SvcQuery").mutable_dependency()->SwapElements(0, 1); },
         "SvcQuery.proto",
         R"(import 1 is "ProtoBuf/Net/Net.Rpc.proto" where "ProtoBuf/Prism/Prism.proto")"},
        {"UnusedImportRemoved", [](Schema& s) { s.File("Gid").clear_dependency(); }, "Gid.proto",
         R"(import 1 is missing where "ProtoBuf/CmnSys/CmnSys.proto" is due)"},
        {"FileOptionRemoved", [](Schema& s) { s.File("Gid").clear_options(); }, "Gid.proto",
         "optimize_for"},
        {"SecondServiceInAFile",
         [](Schema& s) {
           ServiceDescriptorProto* added = s.File("SvcQuery").add_service();
           *added = s.Service("SvcQuery");
           added->set_name("Added");
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Added", "shares its file"},
        {"FileRenamed",
         [](Schema& s) { s.File("SvcPackages").set_name("ProtoBuf/CmnSys/Moved.proto"); },
         "SvcPackages.proto", "the file is gone"},
    }),
    NameOf);

// A file with a message, an enum and a service such as may be added.
FileDescriptorProto* AddFile(FileDescriptorSet* set) {
  FileDescriptorProto* file = set->add_file();
  file->set_name("ProtoBuf/CmnSys/CmnSys.New.proto");
  file->set_package("Pb.New");
  file->mutable_options()->set_optimize_for(google::protobuf::FileOptions::SPEED);
  file->add_message_type()->set_name("M");
  AddField(file->mutable_message_type(0), 1);
  file->add_enum_type()->set_name("E");
  AddValue(file->mutable_enum_type(0), 0);
  ServiceDescriptorProto* service = file->add_service();
  service->set_name("S");
  service->mutable_options()->mutable_unknown_fields()->AddVarint(50001, 1);
  service->mutable_options()->mutable_unknown_fields()->AddVarint(50002, 1);
  auto* method = service->add_method();
  method->set_name("Call");
  method->set_input_type(".Pb.New.M");
  method->set_output_type(".Pb.New.M");
  return file;
}

struct Addition {
  const char* name;
  std::function<void(FileDescriptorProto&)> apply;  // to the file of AddFile
  const char* problem;
};

void PrintTo(const Addition& addition, std::ostream* out) { *out << addition.name; }

class ForbiddenAddition : public testing::TestWithParam<Addition> {};

TEST_P(ForbiddenAddition, IsReported) {
  Schema schema;
  GetParam().apply(*AddFile(&schema.set));
  const Findings findings = Check(SchemaSet(CurrentWithoutComments()), SchemaSet(schema.set));
  ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
  EXPECT_NE(findings.all()[0].problem.find(GetParam().problem), std::string::npos)
      << findings.Text();
}

INSTANTIATE_TEST_SUITE_P(
    New, ForbiddenAddition,
    testing::ValuesIn(std::vector<Addition>{
        {"Required",
         [](FileDescriptorProto& f) {
           f.mutable_message_type(0)->mutable_field(0)->set_label(
               FieldDescriptorProto::LABEL_REQUIRED);
         },
         "is required"},
        {"Reserved",
         [](FileDescriptorProto& f) { f.mutable_message_type(0)->add_reserved_name("old"); },
         "reserved"},
        {"ReservedValue",
         [](FileDescriptorProto& f) { f.mutable_enum_type(0)->add_reserved_name("OLD"); },
         "reserved"},
        {"Oneof",
         [](FileDescriptorProto& f) {
           f.mutable_message_type(0)->add_oneof_decl()->set_name("choice");
           f.mutable_message_type(0)->mutable_field(0)->set_oneof_index(0);
         },
         "oneof"},
        {"JsonName",
         [](FileDescriptorProto& f) {
           f.mutable_message_type(0)->mutable_field(0)->set_json_name("other");
         },
         "json_name"},
        {"DeprecatedFalse",
         [](FileDescriptorProto& f) {
           f.mutable_message_type(0)->mutable_field(0)->mutable_options()->set_deprecated(false);
         },
         "deprecated: false"},
        {"MessageOption",
         [](FileDescriptorProto& f) {
           f.mutable_message_type(0)->mutable_options()->set_deprecated(true);
         },
         "deprecated: true"},
        {"GenericServices",
         [](FileDescriptorProto& f) { f.mutable_options()->set_cc_generic_services(true); },
         "cc_generic_services"},
        {"PublicImport",
         [](FileDescriptorProto& f) {
           f.add_dependency("ProtoBuf/CmnSys/CmnSys.Gid.proto");
           f.add_public_dependency(0);
         },
         "public"},
        {"Proto3", [](FileDescriptorProto& f) { f.set_syntax("proto3"); }, "proto2"},
        {"ServiceWithoutItsOption",
         [](FileDescriptorProto& f) {
           f.mutable_service(0)->mutable_options()->mutable_unknown_fields()->DeleteByNumber(50002);
         },
         "50002"},
        {"StreamingMethod",
         [](FileDescriptorProto& f) {
           f.mutable_service(0)->mutable_method(0)->set_server_streaming(true);
         },
         "streams"},
    }),
    [](const testing::TestParamInfo<Addition>& tested) { return std::string(tested.param.name); });

TEST(Contract, AllowsAdditionsThatLeaveOldIndexesAndDefaults) {
  Schema schema;
  FileDescriptorProto& gid = schema.File("Gid");
  AddField(&schema.Message("Gid", "Gid"), 8);
  MoveLastTo(schema.Message("Gid", "Gid").mutable_field(), 1);
  AddValue(&schema.Enum("Gid", "GidType"), 36);
  MoveLastTo(schema.Enum("Gid", "GidType").mutable_value(), 1);
  gid.add_dependency("ProtoBuf/CmnSys/CmnSys.Iotas.proto");
  gid.add_message_type()->set_name("Added");
  AddField(gid.mutable_message_type(gid.message_type_size() - 1), 1);
  EnumDescriptorProto* type = schema.File("Maps").add_enum_type();
  type->set_name("Added");
  AddValue(type, 0);
  AddEvent(&schema.File("Events"), 2000);
  AddMethod(&schema.Service("SvcQuery"));
  AddFile(&schema.set);

  const Findings findings = Check(SchemaSet(CurrentWithoutComments()), SchemaSet(schema.set));
  EXPECT_EQ(findings.Text(), "");
}

}  // namespace
}  // namespace CmnSys::SchemaGuard
