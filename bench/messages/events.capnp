@0xb1a4e5d2c3f60718;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("CmnSys::Bench::Capnp");

struct Gid {
  id @0 :Data;
  dataStoreId @1 :Data;
  serverId @2 :Data;
  clusterId @3 :Data;
  type @4 :Int32;
}

struct Motion {
  deviceId @0 :Text;
  deviceGid @1 :Gid;
}

struct PlateFound {
  deviceId @0 :Text;
  deviceGid @1 :Gid;
  licensePlate @2 :Text;
  confidence @3 :Float32;
}

struct AnalyticsStart {
  deviceGid @0 :Gid;
  analyticEventName @1 :Text;
  sensorName @2 :Text;
  activity @3 :Int32;
  targetIds @4 :List(UInt32);
}

struct RecordTriggerParams {
  prePostRecordTime @0 :Int64;
  isPrePost @1 :Bool;
  triggerJiffy @2 :UInt32;
  isTriggerJiffy @3 :Bool;
}

struct Event {
  thisId @0 :Int64;
  linkedEventId @1 :Int64;
  timestamp @2 :Int64;
  eventType @3 :Int32;
  recordTriggerParams @4 :RecordTriggerParams;
  originatingServerGid @5 :Gid;
  originatingEventId @6 :Int64;
  originatingServerName @7 :Text;
  payload :union {
    motionStart @8 :Motion;
    motionStop @9 :Motion;
    plateFound @10 :PlateFound;
    analyticsStart @11 :AnalyticsStart;
  }
}

struct EventPair {
  event @0 :Event;
  linkedEvent @1 :Event;
}

struct QueryResult {
  gid @0 :Gid;
  results @1 :List(EventPair);
}
