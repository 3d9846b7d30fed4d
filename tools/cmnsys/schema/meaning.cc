#include "schema/meaning.h"

#include "CmnSys/Util/EventTypes.h"
#include "CmnSys/Util/GidTypes.h"
#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/QueryTypes.h"

namespace CmnSys::Tool {

using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

using Lines = std::vector<std::string>;

bool IsOf(const EnumValueDescriptor& value, const EnumDescriptor* type) {
  return value.type()->full_name() == type->full_name();
}

std::string NameAndNumber(const EnumDescriptor* type, int number) {
  return Tool::NameAndNumber(*type->FindValueByNumber(number));
}

void AddPayload(const Util::SelectedPayload& selected, Lines* lines) {
  lines->push_back("as " + selected.selector->name() + " of " + selected.record->full_name());
  if (selected.payload.empty()) {
    lines->push_back("  no payload");
    return;
  }
  const FieldDescriptor* payload = selected.payload.back();
  lines->push_back(std::string(payload->is_extension() ? "  extension " : "  field ") +
                   std::to_string(payload->number()) + "  " + Util::PathText(selected.payload));
  lines->push_back("  payload " + payload->message_type()->full_name());
}

void AddResults(Pb::CmnSys::Queries::QueryType type, Lines* lines) {
  const auto results = Util::PossibleResultTypes(type);
  if (results.empty()) lines->push_back("answered by no result type");
  for (const auto result : results) {
    lines->push_back(
        "answered by " +
        NameAndNumber(Pb::CmnSys::QueriesResult::QueryResultType_descriptor(), result));
  }
}

}  // namespace

std::string NameAndNumber(const EnumValueDescriptor& value) {
  return value.name() + " (" + std::to_string(value.number()) + ")";
}

std::vector<std::string> MeaningOf(const EnumValueDescriptor& value) {
  Lines lines;
  if (IsOf(value, Pb::CmnSys::Events::EventType_descriptor())) {
    const auto type = static_cast<Pb::CmnSys::Events::EventType>(value.number());
    lines.push_back("category " + NameAndNumber(Pb::CmnSys::Events::EventCategory_descriptor(),
                                                Util::EventCategoryOf(type)));
  }
  if (IsOf(value, Pb::CmnSys::GidType_descriptor())) {
    const auto type = static_cast<Pb::CmnSys::GidType>(value.number());
    lines.push_back("in words: " + std::string(Util::GidTypeInWords(type)));
  }
  for (const Util::SelectedPayload& selected : Util::SelectedPayloads(value)) {
    AddPayload(selected, &lines);
  }
  if (IsOf(value, Pb::CmnSys::Queries::QueryType_descriptor())) {
    AddResults(static_cast<Pb::CmnSys::Queries::QueryType>(value.number()), &lines);
  }
  return lines;
}

std::vector<std::string> MeaningOf(const FieldDescriptor& field) {
  Lines lines;
  for (const EnumValueDescriptor* value : Util::SelectingValues(field)) {
    lines.push_back("selected by " + NameAndNumber(*value));
  }
  return lines;
}

}  // namespace CmnSys::Tool
