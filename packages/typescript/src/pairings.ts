// Which payload goes with which value of a selector.

import {
  create,
  getExtension,
  hasExtension,
  setExtension,
  type DescExtension,
  type DescField,
  type DescMessage,
  type Message,
} from "@bufbuild/protobuf";
import { reflect } from "@bufbuild/protobuf/reflect";
import { records } from "./pairing_records.js";
import { registry } from "./registry.js";

/** A payload: the fields that lead to it and the full name of its message. */
export interface Payload {
  /** Names of fields from the record on, an extension by its full name in brackets. Mostly one. */
  readonly path: readonly string[];
  readonly type: string;
}

/** The payloads of a record, a message that holds one of several kinds. */
export interface Pairing {
  /** How the payload follows from the selector: "by-extension", "fixed-offset" and so on. */
  readonly pattern: string;
  /** The enum field that names the kind; absent where the payload that is set tells it. */
  readonly selector?: string;
  /** The payload of each value of the selector by its number; undefined for a value without one. */
  readonly values: ReadonlyMap<number, Payload | undefined>;
  /** The payloads that exclude one another, for a record without selector. */
  readonly alternatives: readonly Payload[];
}

/** The pairings of all records, by their full names. */
export const pairings: ReadonlyMap<string, Pairing> = new Map(
  Object.entries(records).map(([name, { pattern, selector, values = {}, alternatives = [] }]) => [
    name,
    {
      pattern,
      selector,
      alternatives,
      values: new Map(
        Object.values(values).map(({ number, path, type }) => [number, type ? { path, type } : undefined]),
      ),
    },
  ]),
);

/** A message that was found by the schema alone, with what describes it. */
export interface Found {
  readonly schema: DescMessage;
  readonly message: Message;
}

function pairingOf(schema: DescMessage): Pairing {
  const pairing = pairings.get(schema.typeName);
  if (!pairing) throw new TypeError(`${schema.typeName} is no record with a payload for each kind`);
  return pairing;
}

type Step = DescField | DescExtension;

function step(schema: DescMessage, name: string): Step {
  const found = name.startsWith("[")
    ? registry.getExtension(name.slice(1, -1))
    : schema.fields.find((field) => field.name === name);
  if (!found?.message) throw new TypeError(`${schema.typeName} has no payload ${name}`);
  return found;
}

function follow({ schema, message }: Found, path: readonly string[]): Found | undefined {
  let at: Found = { schema, message };
  for (const name of path) {
    const next = step(at.schema, name);
    const inner = next.message!;
    if (next.kind === "extension") {
      if (!hasExtension(at.message, next)) return undefined;
      at = { schema: inner, message: getExtension(at.message, next) as Message };
    } else {
      const record = reflect(at.schema, at.message);
      if (!record.isSet(next)) return undefined;
      at = { schema: inner, message: record.get(next as DescField & { fieldKind: "message" }).message };
    }
  }
  return at;
}

/**
 * The payload that the record's selector names, for an event the one of its event type. Of a record
 * without selector, the first alternative that is set.
 *
 * Undefined when the payload is not set, when the value has none, or when the selector is not set.
 * Payloads that are extensions are copies: to change one, set it again with setExtension or select.
 * Throws a TypeError for a message that is no such record.
 */
export function payload(schema: DescMessage, record: Message): Found | undefined {
  const pairing = pairingOf(schema);
  const found = { schema, message: record };
  if (pairing.selector === undefined) {
    for (const { path } of pairing.alternatives) {
      const alternative = follow(found, path);
      if (alternative) return alternative;
    }
    return undefined;
  }
  const selector = schema.fields.find((field) => field.name === pairing.selector)!;
  const view = reflect(schema, record);
  if (!view.isSet(selector)) return undefined;
  const selected = pairing.values.get(view.get(selector) as number);
  return selected && follow(found, selected.path);
}

/**
 * Sets the record's selector, and the payload that goes with it to a message with the given fields:
 *
 *   select(EventSchema, event, EventType.EVENT_DEVICE_MOTION_START, { deviceId: "gate-1" })
 *
 * Fields without a payload, and of a value that has none, are refused, as is a value that the
 * selector's enum does not have: a RangeError, and the record stays as it was.
 */
export function select(
  schema: DescMessage,
  record: Message,
  value: number,
  fields: Record<string, unknown> = {},
): void {
  const { selector: name, values } = pairingOf(schema);
  if (name === undefined || !values.has(value)) {
    throw new RangeError(`${schema.typeName} has no selector value ${value}`);
  }
  const selected = values.get(value);
  if (!selected && Object.keys(fields).length > 0) {
    throw new RangeError(`the value ${value} of ${schema.typeName}.${name} has no payload`);
  }
  const selector = schema.fields.find((field) => field.name === name)!;
  if (selected) place(schema, record, selected.path, fields);
  reflect(schema, record).set(selector, value);
}

function place(schema: DescMessage, record: Message, path: readonly string[], fields: Record<string, unknown>) {
  const [name, ...rest] = path;
  const next = step(schema, name);
  const inner = next.message!;
  if (next.kind === "extension") {
    setExtension(record, next, create(inner, fields as never) as never);
    return;
  }
  const view = reflect(schema, record);
  const field = next as DescField & { fieldKind: "message" };
  if (rest.length === 0) {
    view.set(field, reflect(inner, create(inner, fields as never)));
    return;
  }
  const message = view.isSet(field) ? view.get(field).message : create(inner);
  place(inner, message, rest, fields);
  view.set(field, reflect(inner, message));
}
