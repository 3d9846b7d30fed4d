// A newer peer's fields and enum values pass through an older program unharmed.

#include <google/protobuf/unknown_field_set.h>

#include <iostream>

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

int main() {
  using Pb::CmnSys::Gid;

  // As a newer peer may send it: field 100 and a type 900 that this schema does not have.
  Gid newer;
  newer.set_id("camera-12");
  newer.mutable_unknown_fields()->AddLengthDelimited(100, "new");
  newer.mutable_unknown_fields()->AddVarint(Gid::kTypeFieldNumber, 900);

  Gid gid;
  if (!gid.ParseFromString(newer.SerializeAsString())) return 1;
  if (!gid.has_type()) std::cout << "no type that we know\n";
  const google::protobuf::UnknownFieldSet& unknown = gid.unknown_fields();
  for (int i = 0; i < unknown.field_count(); ++i) {
    std::cout << "unknown field " << unknown.field(i).number() << '\n';
  }

  // What was not understood is still sent on.
  const bool kept = gid.SerializeAsString() == newer.SerializeAsString();
  gid.DiscardUnknownFields();
  const bool dropped = gid.SerializeAsString() ==
                       "\x0a\x09"
                       "camera-12";
  return kept && dropped ? 0 : 1;
}
