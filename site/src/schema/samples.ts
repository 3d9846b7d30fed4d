// An example of each message. build.mjs has made them with "cmnsys sample".

import {
  create,
  fromBinary,
  setExtension,
  toBinary,
  toJsonString,
  type DescMessage,
} from "@bufbuild/protobuf";
import { reflect } from "@bufbuild/protobuf/reflect";
import { toText } from "@bufbuild/protobuf/txtpb";
import { readFileSync } from "node:fs";
import { inputs } from "./inputs.ts";
import { pairingOf, valuesFor } from "./pairings.ts";
import { allExtensions, registry } from "./schema.ts";

const stored: Record<string, string> = JSON.parse(readFileSync(inputs.samples, "utf8"));

export interface Sample {
  /** The message itself, or the envelope in which it travels. */
  type: DescMessage;
  bytes: Uint8Array;
  text: string;
  json: string;
  hex: string;
}

const envelopes = new Map(
  allExtensions.filter((e) => e.message && pairingOf(e.extendee)).map((e) => [e.message!, e]),
);

export function sampleOf(type: DescMessage): Sample | undefined {
  const base64 = stored[type.typeName];
  if (base64 === undefined) return undefined;
  let shown = type;
  let message = fromBinary(type, Buffer.from(base64, "base64"));
  const extension = envelopes.get(type);
  if (extension) {
    shown = extension.extendee;
    const envelope = reflect(shown, create(shown));
    const { selector } = pairingOf(shown)!;
    const value = valuesFor(extension)[0];
    if (value) envelope.set(selector, value.number);
    setExtension(envelope.message, extension, message as never);
    message = envelope.message;
  }
  const bytes = toBinary(shown, message);
  if (bytes.length === 0) return undefined;
  return {
    type: shown,
    bytes,
    text: toText(shown, message, { registry }).trimEnd(),
    json: toJsonString(shown, message, { registry, prettySpaces: 2 }),
    hex: hexLines(bytes),
  };
}

const hexLines = (bytes: Uint8Array) =>
  (Buffer.from(bytes).toString("hex").match(/.{1,32}/g) ?? [])
    .map((line) => line.replace(/..(?=.)/g, "$& "))
    .join("\n");
