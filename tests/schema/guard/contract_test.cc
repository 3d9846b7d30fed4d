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

// Moves the last item to `index`; those from there on move up by one.
template <class Item>
void MoveLastTo(RepeatedPtrField<Item>* items, int index) {
  for (int i = items->size() - 1; i > index; --i) items->SwapElements(i, i - 1);
}

// The service's custom options; this program does not know their declarations.
google::protobuf::UnknownFieldSet* Options(ServiceDescriptorProto* service) {
  return service->mutable_options()->mutable_unknown_fields();
}

std::string WithoutLine(const std::string& place) {
  const std::size_t name = place.find(": ");
  return name == std::string::npos ? place : place.substr(0, place.find(':')) + place.substr(name);
}

struct Change {
  const char* name;
  std::function<void(Schema&)> apply;
  // The one finding that the change must give: its place without the line, and part of what it
  // says. Without both the change is allowed.
  const char* place = "";
  const char* problem = "";
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

TEST_P(ContractChange, IsJudged) {
  const SchemaSet baseline(CurrentWithoutComments());
  Schema schema;
  GetParam().apply(schema);
  const Findings findings = Check(baseline, SchemaSet(schema.set));

  const std::string place = GetParam().place;
  if (place.empty()) {
    EXPECT_EQ(findings.Text(), "");
    return;
  }
  ASSERT_EQ(findings.all().size(), 1U) << findings.Text();
  const Finding& finding = findings.all()[0];
  EXPECT_EQ(WithoutLine(finding.place), "ProtoBuf/CmnSys/CmnSys." + place);
  EXPECT_NE(finding.problem.find(GetParam().problem), std::string::npos) << finding.problem;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ContractChange,
    testing::ValuesIn(std::vector<Change>{
        {"Renumbered", [](Schema& s) { s.Field("Gid", "Gid", "type").set_number(70); },
         "Gid.proto: Pb.CmnSys.Gid.type", R"(was "optional .Pb.CmnSys.GidType type = 7;")"},
        {"OfAnotherType",
         [](Schema& s) { s.Field("Gid", "Gid", "id").set_type(FieldDescriptorProto::TYPE_STRING); },
         "Gid.proto: Pb.CmnSys.Gid.id", R"(now "optional string id = 1;")"},
        {"OfAnotherMessage",
         [](Schema& s) { s.Field("Links", "Link", "gid").set_type_name(".Pb.CmnSys.Link"); },
         "Links.proto: Pb.CmnSys.Link.gid", "now \"optional .Pb.CmnSys.Link gid"},
        {"OfAnotherLabel",
         [](Schema& s) {
           s.Field("Gid", "Gid", "id").set_label(FieldDescriptorProto::LABEL_REPEATED);
         },
         "Gid.proto: Pb.CmnSys.Gid.id", "now \"repeated"},
        {"WithAnotherDefault",
         [](Schema& s) { s.Field("SavedViews", "PanelRoi", "nz").set_default_value("2"); },
         "SavedViews.proto: Pb.CmnSys.SavedViews.PanelRoi.nz", "[default = 1]"},
        {"WithoutItsDefault",
         [](Schema& s) { s.Field("SavedViews", "PanelRoi", "nx").clear_default_value(); },
         "SavedViews.proto: Pb.CmnSys.SavedViews.PanelRoi.nx", "[default = 0]"},
        {"WithANewDefault",
         [](Schema& s) { s.Field("Maps", "MapObject", "name").set_default_value("map"); },
         "Maps.proto: Pb.CmnSys.Maps.MapObject.name", "now \"optional string name = 2 [default ="},
        {"Unpacked",
         [](Schema& s) { s.Field("Storage", "AccessUnits", "length_diffs").clear_options(); },
         "Storage.proto: Pb.CmnSys.Stor.AccessUnits.length_diffs", "[packed = true]"},
        {"NewlyPacked",
         [](Schema& s) {
           s.Field("Iotas", "IotaU32Array", "val").mutable_options()->set_packed(true);
         },
         "Iotas.proto: Pb.CmnSys.IotaU32Array.val", "[packed = true]"},
        {"NewlyDeprecated",
         [](Schema& s) { s.Field("Gid", "Gid", "id").mutable_options()->set_deprecated(true); },
         "Gid.proto: Pb.CmnSys.Gid.id", "deprecated"},
        {"Renamed", [](Schema& s) { s.Field("Gid", "Gid", "id").set_name("ident"); },
         "Gid.proto: Pb.CmnSys.Gid.ident", R"(was named "id")"},
        {"Removed", [](Schema& s) { s.Message("Gid", "Gid").mutable_field()->RemoveLast(); },
         "Gid.proto: Pb.CmnSys.Gid", R"(the field "type" is gone)"},
        {"InAnotherOrder",
         [](Schema& s) { s.Message("Gid", "Gid").mutable_field()->SwapElements(1, 2); },
         "Gid.proto: Pb.CmnSys.Gid.server_id", R"("data_store_id" is due)"},
        {"Required",
         [](Schema& s) {
           AddField(&s.Message("Gid", "Gid"), 8)->set_label(FieldDescriptorProto::LABEL_REQUIRED);
         },
         "Gid.proto: Pb.CmnSys.Gid.added", "is required"},
        {"AtAFreeNumber", [](Schema& s) { AddField(&s.Message("Gid", "Gid"), 6); },
         "Gid.proto: Pb.CmnSys.Gid.added", "number 6 of Pb.CmnSys.Gid must stay free"},
        {"AddedLast", [](Schema& s) { AddField(&s.Message("Gid", "Gid"), 8); }},
        {"AddedBetween",
         [](Schema& s) {
           AddField(&s.Message("Gid", "Gid"), 8);
           MoveLastTo(s.Message("Gid", "Gid").mutable_field(), 1);
         }},
    }),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Enums, ContractChange,
    testing::ValuesIn(std::vector<Change>{
        {"ValueRenumbered",
         [](Schema& s) { s.Enum("Gid", "GidType").mutable_value(3)->set_number(99); },
         "Gid.proto: Pb.CmnSys.GidType.GID_TYPE_SAVED_VIEW", "was \"GID_TYPE_SAVED_VIEW = 3;\""},
        {"ValueRenamed",
         [](Schema& s) { s.Enum("Gid", "GidType").mutable_value(3)->set_name("VIEW"); },
         "Gid.proto: Pb.CmnSys.GidType.VIEW", R"(was named "GID_TYPE_SAVED_VIEW")"},
        {"ValueRemoved", [](Schema& s) { s.Enum("Gid", "GidType").mutable_value()->RemoveLast(); },
         "Gid.proto: Pb.CmnSys.GidType", R"(the value "GID_TYPE_INSTALLER" is gone)"},
        {"ValuesInAnotherOrder",
         [](Schema& s) { s.Enum("Gid", "GidType").mutable_value()->SwapElements(4, 5); },
         "Gid.proto: Pb.CmnSys.GidType.GID_TYPE_WEB_LINK", R"("GID_TYPE_MAP" is due)"},
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
        {"Removed",
         [](Schema& s) {
           auto* enums = s.File("Alarms").mutable_enum_type();
           for (int i = 0; i < enums->size(); ++i) {
             if (enums->Get(i).name() == "AlarmAutoAckType") enums->DeleteSubrange(i--, 1);
           }
         },
         "Alarms.proto", R"(the enum "AlarmAutoAckType" is gone)"},
        {"ValueAddedLast", [](Schema& s) { AddValue(&s.Enum("Gid", "GidType"), 36); }},
        {"ValueAddedBetween",
         [](Schema& s) {
           AddValue(&s.Enum("Gid", "GidType"), 36);
           MoveLastTo(s.Enum("Gid", "GidType").mutable_value(), 1);
         }},
        {"AddedLast",
         [](Schema& s) {
           auto* type = s.File("Gid").add_enum_type();
           type->set_name("Added");
           AddValue(type, 0);
         }},
    }),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    MessagesAndExtensions, ContractChange,
    testing::ValuesIn(std::vector<Change>{
        {"MessageRenamed",
         [](Schema& s) {
           s.Message("Notifications", "NotificationList").set_name("Notifications");
         },
         "Notifications.proto", R"(the message "NotificationList" is gone)"},
        {"MessagesInAnotherOrder",
         [](Schema& s) { s.File("SvcQuery").mutable_message_type()->SwapElements(0, 1); },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.InitiateRsp", R"("InitiateReq" is due)"},
        {"MessageAddedBetween",
         [](Schema& s) {
           s.File("Gid").add_message_type()->set_name("Added");
           MoveLastTo(s.File("Gid").mutable_message_type(), 0);
         },
         "Gid.proto: Pb.CmnSys.Added", R"(before the old "Gid"; move it)"},
        {"NestedMessageAddedBetween",
         [](Schema& s) {
           s.Message("Storage", "Usage").add_nested_type()->set_name("Added");
           MoveLastTo(s.Message("Storage", "Usage").mutable_nested_type(), 0);
         },
         "Storage.proto: Pb.CmnSys.Stor.Usage.Added", R"(before the old "Tier")"},
        {"NumbersReserved",
         [](Schema& s) {
           auto* range = s.Message("Gid", "Gid").add_reserved_range();
           range->set_start(5);
           range->set_end(7);
         },
         "Gid.proto: Pb.CmnSys.Gid", "reserved_range"},
        {"RequiredFieldInANewMessage",
         [](Schema& s) {
           auto* added = s.File("Gid").add_message_type();
           added->set_name("Added");
           AddField(added, 1)->set_label(FieldDescriptorProto::LABEL_REQUIRED);
         },
         "Gid.proto: Pb.CmnSys.Added.added", "is required"},
        {"ExtensionRangeShortened",
         [](Schema& s) { s.Message("Events", "Event").mutable_extension_range(0)->set_end(9000); },
         "Events.proto: Pb.CmnSys.Events.Event", "end: 9000"},
        {"ExtensionRenumbered",
         [](Schema& s) { s.File("Events").mutable_extension(0)->set_number(9999); },
         "Events.proto: Pb.CmnSys.Events.event_app_server_start", "= 100; }"},
        {"ExtensionOfAnotherType",
         [](Schema& s) { s.File("Events").mutable_extension(0)->set_type_name(".Pb.CmnSys.Gid"); },
         "Events.proto: Pb.CmnSys.Events.event_app_server_start", ".Pb.CmnSys.Gid event_app"},
        {"ExtensionOfAnotherMessage",
         [](Schema& s) {
           auto* extension = s.File("Maps").mutable_extension(0);
           extension->set_number(300);
           extension->set_extendee(".Pb.CmnSys.Maps.MapObject");
         },
         "Maps.proto: Pb.CmnSys.Maps.geometryPoint", "now \"extend .Pb.CmnSys.Maps.MapObject"},
        {"ExtensionRemoved", [](Schema& s) { s.File("Maps").mutable_extension()->RemoveLast(); },
         "Maps.proto", R"(the extension "mapObjectSavedView" is gone)"},
        {"ExtensionsInAnotherOrder",
         [](Schema& s) { s.File("Maps").mutable_extension()->SwapElements(0, 1); },
         "Maps.proto: Pb.CmnSys.Maps.geometryRectangle", R"("geometryPoint" is due)"},
        {"ExtensionAtAFreeNumber",
         [](Schema& s) {
           auto* extension = s.File("Events").add_extension();
           *extension = s.File("Events").extension(0);
           extension->set_name("added");
           extension->set_number(1307);
         },
         "Events.proto: Pb.CmnSys.Events.added", "number 1307 of Pb.CmnSys.Events.Event"},
        {"MessageAddedLast",
         [](Schema& s) {
           auto* added = s.File("Gid").add_message_type();
           added->set_name("Added");
           AddField(added, 1)->set_label(FieldDescriptorProto::LABEL_REPEATED);
         }},
        {"ExtensionAdded",
         [](Schema& s) {
           auto* extension = s.File("Events").add_extension();
           *extension = s.File("Events").extension(0);
           extension->set_name("added");
           extension->set_number(2000);
         }},
    }),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    ServicesAndFiles, ContractChange,
    testing::ValuesIn(std::vector<Change>{
        {"MethodsInAnotherOrder",
         [](Schema& s) { s.Service("SvcQuery").mutable_method()->SwapElements(0, 1); },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Continue", R"("Initiate" is due)"},
        {"MethodRemoved", [](Schema& s) { s.Service("SvcQuery").mutable_method()->RemoveLast(); },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query", R"(the method "Abort" is gone)"},
        {"MethodWithAnotherResponse",
         [](Schema& s) {
           s.Service("SvcQuery").mutable_method(0)->set_output_type(".Pb.Rpc.SvcQuery.AbortRsp");
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Initiate", "returns (.Pb.Rpc.SvcQuery.AbortRsp)"},
        {"MethodStreams",
         [](Schema& s) { s.Service("SvcQuery").mutable_method(0)->set_server_streaming(true); },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Initiate", "returns (stream "},
        {"MethodAddedBetween",
         [](Schema& s) {
           auto* methods = s.Service("SvcQuery").mutable_method();
           *methods->Add() = methods->Get(0);
           methods->Mutable(3)->set_name("Added");
           MoveLastTo(methods, 2);
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query.Added", R"(before the old "Abort")"},
        {"ServiceRenamed", [](Schema& s) { s.Service("SvcQuery").set_name("Queries"); },
         "SvcQuery.proto", R"(the service "Query" is gone)"},
        {"ServiceOptionRemoved",
         [](Schema& s) { Options(&s.Service("SvcQuery"))->DeleteByNumber(50002); },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query", "50002: 1"},
        {"ServiceOptionChanged",
         [](Schema& s) {
           auto* options = Options(&s.Service("SvcQuery"));
           options->DeleteByNumber(50002);
           options->AddVarint(50002, 2);
         },
         "SvcQuery.proto: Pb.Rpc.SvcQuery.Query", "50002: 2"},
        {"ImportsInAnotherOrder",
         [](Schema& s) { s.File("SvcQuery").mutable_dependency()->SwapElements(0, 1); },
         "SvcQuery.proto",
         R"(import 1 is "ProtoBuf/Net/Net.Rpc.proto" where "ProtoBuf/Prism/Prism.proto")"},
        {"UnusedImportRemoved", [](Schema& s) { s.File("Gid").clear_dependency(); }, "Gid.proto",
         R"(import 1 is missing where "ProtoBuf/CmnSys/CmnSys.proto" is due)"},
        {"ImportAddedFirst",
         [](Schema& s) {
           s.File("Gid").add_dependency("ProtoBuf/CmnSys/CmnSys.Iotas.proto");
           s.File("Gid").mutable_dependency()->SwapElements(0, 1);
         },
         "Gid.proto", "add new ones last"},
        {"FileOptionRemoved", [](Schema& s) { s.File("Gid").clear_options(); }, "Gid.proto",
         "optimize_for"},
        {"FileOptionAdded",
         [](Schema& s) { s.File("Maps").mutable_options()->set_cc_generic_services(true); },
         "Maps.proto", "cc_generic_services"},
        {"FileRemoved",
         [](Schema& s) {
           auto* files = s.set.mutable_file();
           for (int i = 0; i < files->size(); ++i) {
             if (files->Get(i).name() == "ProtoBuf/CmnSys/CmnSys.SvcPackages.proto")
               files->DeleteSubrange(i--, 1);
           }
         },
         "SvcPackages.proto", "the file is gone"},
        {"Nothing", [](Schema&) {}},
        {"MethodAddedLast",
         [](Schema& s) {
           auto* methods = s.Service("SvcQuery").mutable_method();
           *methods->Add() = methods->Get(0);
           methods->Mutable(3)->set_name("Added");
         }},
        {"ImportAddedLast",
         [](Schema& s) { s.File("Gid").add_dependency("ProtoBuf/CmnSys/CmnSys.Iotas.proto"); }},
        {"FileAdded",
         [](Schema& s) {
           auto* file = s.set.add_file();
           file->set_name("ProtoBuf/CmnSys/CmnSys.Added.proto");
           file->set_package("Pb.CmnSys.Added");
           file->add_message_type()->set_name("Added");
         }},
    }),
    NameOf);

}  // namespace
}  // namespace CmnSys::SchemaGuard
