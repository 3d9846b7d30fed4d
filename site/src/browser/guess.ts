// Which message type bytes or JSON may be of.

import { fromJson, type DescMessage, type FileRegistry, type JsonValue } from "@bufbuild/protobuf";
import { readWire, type WireField } from "./wire_tree.ts";

/** How much the fields speak for the type: known ones for it, unknown and odd ones against. */
function points(fields: WireField[], depth = 0): number {
  let sum = 0;
  for (const { field, remark, children } of fields) {
    if (!field) sum -= 6;
    else if (remark) sum -= 3;
    else sum += field.enum ? 3 : 2;
    // A payload says more than the envelope's plain fields, but counts less the deeper it stands.
    if (field?.kind === "extension") sum += 3;
    if (field && children) sum += points(children, depth + 1) / 2;
  }
  return sum;
}

/** So many fields tell the type; all of them, for every type, would take long in large messages. */
const limit = { fields: 300, checkAll: false };

function typesOf(registry: FileRegistry): DescMessage[] {
  return [...registry].filter(
    (type): type is DescMessage => type.kind === "message" && type.file.name.startsWith("ProtoBuf/"),
  );
}

/** Of types that fit equally, the one of which more is used. */
const fit = (type: DescMessage, used: number) => used / (type.fields.length + 1);

const isKnown = (fields: WireField[]): boolean =>
  fields.every(({ field, children }) => field && (!children || isKnown(children)));

/** The most likely types, the best first. Empty when the bytes are no message at all. */
export function guessBinary(bytes: Uint8Array, registry: FileRegistry, count: number): DescMessage[] {
  return typesOf(registry)
    .map((type) => ({ type, ...readWire(bytes, type, registry, limit) }))
    .filter(({ fault }) => !fault)
    .map(({ type, fields }) => ({
      type,
      points: points(fields) + (isKnown(fields) ? 4 : 0) + fit(type, new Set(fields.map((f) => f.number)).size),
    }))
    .sort((a, b) => b.points - a.points)
    .slice(0, count)
    .map(({ type }) => type);
}

/** The types that accept the JSON, those with the fewest other fields first. */
export function guessJson(json: JsonValue, registry: FileRegistry, limit: number): DescMessage[] {
  if (typeof json !== "object" || json === null || Array.isArray(json)) return [];
  const used = Object.keys(json).length;
  return typesOf(registry)
    .filter((type) => {
      try {
        fromJson(type, json, { registry });
        return true;
      } catch {
        return false;
      }
    })
    .sort((a, b) => fit(b, used) - fit(a, used))
    .slice(0, limit);
}
