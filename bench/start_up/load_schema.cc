// Loads the schema libraries, which register their files, and uses one class.

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

int main() { return Pb::CmnSys::Gid().has_id() ? 1 : 0; }
