#include "old_standard.h"

#include "ProtoBuf/CmnSys/CmnSys.Rules.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRules.pb.h"

const void* AddressOfNestedEnumConstant() {
  return &Pb::CmnSys::Rules::RuleActionRecordDeviceEventCreator::EVENT_CREATOR_TYPE_ALARM;
}
