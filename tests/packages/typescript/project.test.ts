// A user's project: it has the packed package installed, is checked by tsc --strict, and runs.
//
// CMNSYS names the tool.

import { create, equals, toBinary } from "@bufbuild/protobuf";
import {
  DelimitedError,
  fromJson,
  LossError,
  pairings,
  payload,
  readDelimited,
  registry,
  select,
  toJson,
  writeDelimited,
} from "cmnsysprotobuf";
import { AlarmTriggerSchema } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Alarms_pb.js";
import { EventSchema, EventType, type Event } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Events_pb.js";
import { GidSchema } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Gid_pb.js";
import { RecurrenceSchema, RecurrenceType } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Schedule_pb.js";
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { test } from "node:test";
import { gzipSync } from "node:zlib";
import { build } from "esbuild-wasm";
import { chromium as browserType } from "playwright-core";

const cmnsys = (args: string[], input: Uint8Array = new Uint8Array()) =>
  execFileSync(process.env.CMNSYS!, args, { input, maxBuffer: 1 << 28 });

async function read(bytes: Uint8Array, block = bytes.length): Promise<Event[]> {
  const blocks: Uint8Array[] = [];
  for (let at = 0; at < bytes.length; at += block) blocks.push(bytes.subarray(at, at + block));
  const events: Event[] = [];
  for await (const event of readDelimited(EventSchema, blocks)) events.push(event);
  return events;
}

/** JSON with numbers as floats hold them: both sides print them in forms of their own. */
const parse = (json: string): unknown =>
  JSON.parse(json, (_, value) => (typeof value === "number" ? Math.fround(value) + 0 : value));

test("events with the payloads of all types say the same as in cmnsys", async () => {
  const events = [...pairings.get("Pb.CmnSys.Events.Event")!.values].map(([type, paired]) => {
    const event = create(EventSchema);
    select(EventSchema, event, type);
    assert.equal(payload(EventSchema, event)?.schema.typeName, paired?.type);
    return event;
  });
  assert.ok(events.length > 140);
  const sampled = cmnsys(["sample", "Event", "--count", "600", "--to", "delimited"]);
  events.push(...(await read(sampled)));

  const stream = Buffer.concat(events.map((event) => writeDelimited(EventSchema, event)));
  const lines = cmnsys(["convert", "Event", "-", "--from", "delimited", "--to", "jsonl"], stream);
  const printed = lines.toString().trimEnd().split("\n");
  assert.equal(printed.length, events.length);
  events.forEach((event, i) => {
    assert.deepEqual(parse(toJson(EventSchema, event)), parse(printed[i]!));
    assert.deepEqual(toBinary(EventSchema, fromJson(EventSchema, printed[i]!)), toBinary(EventSchema, event));
  });
});

test("streams may come in blocks of any size, and say where they are damaged", async () => {
  const stream = cmnsys(["sample", "Event", "--count", "40", "--to", "delimited"]);
  const whole = await read(stream);
  for (const block of [1, 7, 64]) {
    const events = await read(stream, block);
    assert.equal(events.length, 40);
    assert.ok(events.every((event, i) => equals(EventSchema, event, whole[i]!)));
  }
  for (const [bytes, reason] of [
    [stream.subarray(0, -1), /message 39 is cut off/],
    [Uint8Array.of(1, 7), /message 0 is no Pb\.CmnSys\.Events\.Event/],
    [Uint8Array.of(0xff, 0xff, 0xff, 0xff, 0xff, 1), /the length of message 0/],
    [Uint8Array.of(0x80, 0x80, 0x80, 0x80, 0x10, 0), /message 0 has 4294967296 bytes/],
    [Uint8Array.of(0x80, 0x80, 0x80, 0x40), /message 0 has 134217728 bytes, more than maxBytes/],
  ] as const) {
    await assert.rejects(read(bytes), (error) => error instanceof DelimitedError && reason.test(error.message));
  }
});

test("payloads: by path, none, and what is no record", () => {
  const recurrence = create(RecurrenceSchema);
  select(RecurrenceSchema, recurrence, RecurrenceType.RECURRENCE_YEARLY);
  assert.match(payload(RecurrenceSchema, recurrence)!.schema.typeName, /Yearly/);
  assert.equal(payload(EventSchema, create(EventSchema)), undefined);
  const event = create(EventSchema);
  assert.throws(() => select(EventSchema, event, 4711), RangeError);
  assert.throws(() => select(EventSchema, event, EventType.EVENT_ALL, { deviceId: "x" }), RangeError);
  assert.ok(equals(EventSchema, event, create(EventSchema)));
  assert.throws(() => payload(GidSchema, create(GidSchema)), TypeError);
  assert.ok(registry.getMessage(AlarmTriggerSchema.typeName));
});

test("JSON does not lose what it cannot hold without saying so", () => {
  const gid = create(GidSchema);
  gid.$unknown = [{ no: 4711, wireType: 0, data: Uint8Array.of(1) }];
  assert.throws(() => toJson(GidSchema, gid), LossError);
  assert.equal(toJson(GidSchema, gid, { lossy: true }), "{}");

  const event = create(EventSchema);
  select(EventSchema, event, EventType.EVENT_DEVICE_CONNECTED, { deviceGid: gid });
  assert.throws(() => toJson(EventSchema, event), /event_device_connected\]\.device_gid: field 4711/);
});

async function bundle(contents: string): Promise<string> {
  const { outputFiles } = await build({
    stdin: { contents, resolveDir: process.cwd() },
    bundle: true,
    minify: true,
    write: false,
    format: "iife",
  });
  return outputFiles[0]!.text;
}

const deviceOfMotion = `import { fromBinary, getExtension } from "@bufbuild/protobuf";
  import { EventSchema, event_device_motion_start } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Events_pb.js";
  globalThis.show = (bytes) =>
    getExtension(fromBinary(EventSchema, Uint8Array.from(bytes)), event_device_motion_start).deviceId;`;

test("a bundle holds only the files that it uses", async () => {
  const size = gzipSync(await bundle(deviceOfMotion)).length;
  assert.ok(size <= 60_000, `${size} bytes compressed`);
});

const chromium = process.env.CMNSYS_CHROMIUM;

test("bundles decode the payload of an event in a browser", { skip: !chromium && "no chromium" }, async () => {
  const event = create(EventSchema);
  select(EventSchema, event, EventType.EVENT_DEVICE_MOTION_START, { deviceId: "gate-1" });
  const bytes = [...toBinary(EventSchema, event)];
  const browser = await browserType.launch({
    executablePath: chromium!,
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking"],
  });
  try {
    for (const [contents, shown] of [
      [deviceOfMotion, "gate-1"],
      [
        `import { fromBinary } from "@bufbuild/protobuf";
        import { toJson } from "cmnsysprotobuf";
        import { EventSchema } from "cmnsysprotobuf/ProtoBuf/CmnSys/CmnSys.Events_pb.js";
        globalThis.show = (bytes) => toJson(EventSchema, fromBinary(EventSchema, Uint8Array.from(bytes)));`,
        toJson(EventSchema, event),
      ],
    ] as const) {
      const page = await browser.newPage();
      await page.addScriptTag({ content: await bundle(contents) });
      assert.equal(await page.evaluate(`show([${bytes}])`), shown);
    }
  } finally {
    await browser.close();
  }
});
