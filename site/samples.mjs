// Writes an example of every message, made by "cmnsys sample", as JSON: base64
// of the bytes by full name.
//
//   node samples.mjs CMNSYS DESCRIPTOR_SET OUTPUT

import { createFileRegistry, fromBinary } from "@bufbuild/protobuf";
import { BinaryReader } from "@bufbuild/protobuf/wire";
import { FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";
import { execFile } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import { availableParallelism } from "node:os";
import { promisify } from "node:util";

const [cmnsys, descriptorSet, output] = process.argv.slice(2);
const run = promisify(execFile);

const limits = ["--max-bytes", "240", "--max-depth", "3", "--percent-set", "60"];

/** The first of a few messages that sets a field; empty for messages without fields. */
async function sample(type) {
  const { stdout } = await run(
    cmnsys,
    ["sample", type.typeName, "--seed", "1", "--count", "4", "--to", "delimited", ...limits],
    { encoding: "buffer" },
  );
  const reader = new BinaryReader(stdout);
  while (reader.pos < reader.len) {
    const bytes = reader.bytes();
    if (bytes.length > 0) return Buffer.from(bytes).toString("base64");
  }
  return "";
}

const registry = createFileRegistry(
  fromBinary(FileDescriptorSetSchema, readFileSync(descriptorSet)),
);
const types = [...registry].filter(
  (type) => type.kind === "message" && type.file.name.startsWith("ProtoBuf/"),
);
const samples = {};
const queue = types.values();
await Promise.all(
  Array.from({ length: availableParallelism() }, async () => {
    for (const type of queue) samples[type.typeName] = await sample(type);
  }),
);
writeFileSync(
  output,
  JSON.stringify(Object.fromEntries(types.map(({ typeName }) => [typeName, samples[typeName]]))),
);
