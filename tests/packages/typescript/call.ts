#!/usr/bin/env node
// Calls the query service of the example over mutual TLS, as tests/rpc/interop/run.sh runs it:
// call.js ADDRESS CERTIFICATES

import { create } from "@bufbuild/protobuf";
import { createClient } from "@connectrpc/connect";
import { createGrpcTransport } from "@connectrpc/connect-node";
import { payload } from "cmnsysprotobuf";
import { EventSchema, EventType } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Events_pb.js";
import { QuerySchema, QueryType } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Query_pb.js";
import { Query } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.SvcQuery_pb.js";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";

const [address, certificates] = process.argv.slice(2);
const read = (name: string) => readFileSync(`${certificates}/${name}`);
const client = createClient(
  Query,
  createGrpcTransport({
    baseUrl: `https://${address}`,
    nodeOptions: { ca: read("ca.pem"), key: read("client.key"), cert: read("client.pem") },
  }),
);
const { queryResult } = await client.initiate({
  query: create(QuerySchema, {
    type: QueryType.SYSTEM_EVENTS_TYPE,
    querySystemEventsType: { timeBegin: 0n, timeEnd: 4102444800000n, eventTypes: [EventType.EVENT_ALL] },
  }),
});
const pairs = queryResult!.queryResultSystemEvents!.results;
assert.ok(pairs.length > 0);
assert.ok(pairs.some(({ event }) => payload(EventSchema, event!)));
process.exit(0);
