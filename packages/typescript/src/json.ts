// Messages as JSON, extensions included, in the form that cmnsys reads and writes.

import {
  fromJsonString,
  getExtension,
  toJsonString,
  type DescMessage,
  type Message,
  type MessageShape,
} from "@bufbuild/protobuf";
import { reflect, type ReflectMessage } from "@bufbuild/protobuf/reflect";
import { registry } from "./registry.js";

/** A message has something for which JSON has no place. */
export class LossError extends Error {
  override name = "LossError";
}

/** Where unknown fields are that are no extension of the registry, if there are any. */
function loss(message: ReflectMessage, path: string): string | undefined {
  for (const { no } of message.getUnknown() ?? []) {
    const extension = registry.getExtensionFor(message.desc, no);
    if (!extension) return `${path}: field ${no}`;
    if (!extension.message) continue;
    const payload = getExtension(message.message, extension) as Message;
    const found = loss(reflect(extension.message, payload), `${path}.[${extension.typeName}]`);
    if (found) return found;
  }
  for (const field of message.fields) {
    if (!message.isSet(field) || !field.message) continue;
    const values: Iterable<ReflectMessage> =
      field.fieldKind === "list"
        ? (message.get(field) as Iterable<ReflectMessage>)
        : [message.get(field) as ReflectMessage];
    for (const value of values) {
      const found = loss(value, `${path}.${field.name}`);
      if (found) return found;
    }
  }
  return undefined;
}

/**
 * The message as JSON, extensions as "[full.name]".
 *
 * JSON has no place for unknown fields. Throws LossError, which names the first one, when there are
 * any, unless `lossy` is true.
 */
export function toJson<S extends DescMessage>(
  schema: S,
  message: MessageShape<S>,
  options: { lossy?: boolean; prettySpaces?: number } = {},
): string {
  const lost = options.lossy ? undefined : loss(reflect(schema, message), schema.typeName);
  if (lost) throw new LossError(`JSON cannot hold what is unknown at ${lost}; "lossy" leaves it out`);
  return toJsonString(schema, message, { registry, prettySpaces: options.prettySpaces ?? 2 });
}

/** The message that the JSON describes. Throws an Error that names the field for anything else. */
export function fromJson<S extends DescMessage>(schema: S, json: string): MessageShape<S> {
  return fromJsonString(schema, json, { registry });
}
