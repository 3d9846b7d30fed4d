// What users of the messages of CmnSysProtoBuf need first. The messages themselves are imported by
// their schema files: "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Events_pb.js".

export { DelimitedError, readDelimited, writeDelimited } from "./delimited.js";
export { fromJson, LossError, toJson } from "./json.js";
export { pairings, payload, select, type Found, type Pairing, type Payload } from "./pairings.js";
export { registry } from "./registry.js";
