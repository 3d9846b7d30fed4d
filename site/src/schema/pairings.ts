// Which payload goes with which value of a selector.

import type { DescEnumValue, DescExtension, DescField, DescMessage } from "@bufbuild/protobuf";
import { readFileSync } from "node:fs";
import { inputs } from "./inputs.ts";
import { registry } from "./schema.ts";

export type Payload = DescField | DescExtension;

export interface Pairing {
  record: DescMessage;
  selector: DescField;
  values: { value: DescEnumValue; path: Payload[] }[];
}

/** The part of pairings.json that is read here; docs/checker.md tells all of it. */
interface PairingsFile {
  version: number;
  records: Record<
    string,
    { selector?: string; values?: Record<string, { number: number; path: string[] }> }
  >;
}

function step(message: DescMessage, name: string): Payload {
  const found = name.startsWith("[")
    ? registry.getExtension(name.slice(1, -1))
    : message.fields.find((field) => field.name === name);
  if (!found) throw new Error(`${inputs.pairings}: ${message.typeName} has no ${name}`);
  return found;
}

function resolve(record: DescMessage, path: string[]): Payload[] {
  let message = record;
  return path.map((name) => {
    const payload = step(message, name);
    if (payload.message) message = payload.message;
    return payload;
  });
}

const stored: PairingsFile = JSON.parse(readFileSync(inputs.pairings, "utf8"));
if (stored.version !== 1) {
  throw new Error(`${inputs.pairings} has the version ${stored.version}; this reads version 1.`);
}

/** Records without a selector are left out: the payload that is set tells their kind. */
export const pairings: Pairing[] = Object.entries(stored.records)
  .filter(([, { selector }]) => selector)
  .map(([name, { selector, values }]) => {
    const record = registry.getMessage(name)!;
    const field = step(record, selector!) as DescField;
    return {
      record,
      selector: field,
      values: Object.entries(values!).map(([value, { path }]) => ({
        value: field.enum!.values.find(({ name }) => name === value)!,
        path: resolve(record, path),
      })),
    };
  });

const byRecord = new Map(pairings.map((pairing) => [pairing.record, pairing]));
const selected = new Map<DescEnumValue, { record: DescMessage; path: Payload[] }[]>();
const selecting = new Map<Payload, DescEnumValue[]>();
for (const { record, values } of pairings) {
  for (const { value, path } of values) {
    if (path.length === 0) continue;
    selected.set(value, [...(selected.get(value) ?? []), { record, path }]);
    const payload = path.at(-1)!;
    selecting.set(payload, [...(selecting.get(payload) ?? []), value]);
  }
}

export const pairingOf = (record: DescMessage) => byRecord.get(record);
/** What a value selects, record by record. */
export const selectedBy = (value: DescEnumValue) => selected.get(value) ?? [];
/** The values that select a payload. */
export const valuesFor = (payload: Payload) => selecting.get(payload) ?? [];
