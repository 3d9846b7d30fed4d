// C++ lines that build a message, in the names of protoc's C++ output.

import type { DescEnumValue, DescExtension, DescField, DescMessage } from "@bufbuild/protobuf";
import { getExtension, hasExtension, ScalarType, type Message } from "@bufbuild/protobuf";
import { reflect, type ReflectMessage } from "@bufbuild/protobuf/reflect";
import { pairingOf } from "./pairings.ts";
import { extensionsByEnvelope } from "./schema.ts";
import { usedBy } from "./usage.ts";

/** Whether a message is among the most used: many others hold it, or it is an envelope. */
export const isMuchUsed = (type: DescMessage) =>
  usedBy(type).length >= 8 || pairingOf(type) !== undefined;

const scoped = (packageName: string, name: string) =>
  `${packageName.replaceAll(".", "::")}::${name}`;

const className = (type: DescMessage) =>
  scoped(
    type.file.proto.package,
    type.typeName.slice(type.file.proto.package.length + 1).replaceAll(".", "_"),
  );

function constant(value: DescEnumValue): string {
  const { parent } = value;
  return parent.parent
    ? `${className(parent.parent)}::${value.name}`
    : scoped(parent.file.proto.package, value.name);
}

const keywords = new Set(
  ("alignas alignof and asm auto bool break case catch char class const continue default delete do " +
    "double else enum explicit export extern false float for friend goto if inline int long " +
    "mutable namespace new not operator or private protected public register return short signed " +
    "sizeof static struct switch template this throw true try typedef typename union unsigned " +
    "using virtual void volatile while xor").split(" "),
);
const accessor = (name: string) => {
  const lower = name.toLowerCase();
  return keywords.has(lower) ? `${lower}_` : lower;
};

function quoted(bytes: Uint8Array, utf8: boolean): string {
  let text = "";
  for (const byte of bytes) {
    const ch = String.fromCharCode(byte);
    if (ch === "\n") text += "\\n";
    else if (ch === '"' || ch === "\\") text += `\\${ch}`;
    else if (byte >= 0x20 && byte < 0x7f) text += ch;
    else text += `\\${byte.toString(8).padStart(3, "0")}`;
  }
  // Bytes may hold a NUL, at which a literal alone would end.
  return utf8 && !bytes.includes(0) ? `"${text}"` : `std::string("${text}", ${bytes.length})`;
}

function decimal(value: number, suffix: string): string {
  const type = suffix ? "float" : "double";
  if (Number.isNaN(value)) return `std::numeric_limits<${type}>::quiet_NaN()`;
  if (!Number.isFinite(value)) {
    return `${value < 0 ? "-" : ""}std::numeric_limits<${type}>::infinity()`;
  }
  const text = Object.is(value, -0) ? "-0" : String(value);
  return (/[.e]/.test(text) ? text : `${text}.0`) + suffix;
}

function literal(type: ScalarType, value: unknown): string {
  switch (type) {
    case ScalarType.STRING:
      return quoted(new TextEncoder().encode(value as string), true);
    case ScalarType.BYTES:
      return quoted(value as Uint8Array, false);
    case ScalarType.FLOAT:
      return decimal(value as number, "f");
    case ScalarType.DOUBLE:
      return decimal(value as number, "");
    case ScalarType.UINT64:
    case ScalarType.FIXED64:
      return BigInt(value as bigint) > 0x7fffffffn ? `${value}u` : String(value);
    case ScalarType.INT64:
    case ScalarType.SINT64:
    case ScalarType.SFIXED64:
      return value === -(2n ** 63n) ? "std::numeric_limits<std::int64_t>::min()" : String(value);
    case ScalarType.INT32:
    case ScalarType.SINT32:
    case ScalarType.SFIXED32:
      return value === -(2 ** 31) ? "std::numeric_limits<std::int32_t>::min()" : String(value);
    case ScalarType.UINT32:
    case ScalarType.FIXED32:
      return (value as number) > 0x7fffffff ? `${value}u` : String(value);
    default:
      return String(value);
  }
}

class Writer {
  lines: string[] = [];
  private names = new Map<string, number>();

  variable(base: string): string {
    const name = accessor(base);
    const n = (this.names.get(name) ?? 0) + 1;
    this.names.set(name, n);
    return n === 1 ? name : `${name}_${n}`;
  }

  value(field: DescField | DescExtension, value: unknown): string {
    if (!field.enum) return literal(field.scalar!, value);
    const named = field.enum.value[value as number];
    return named
      ? constant(named)
      : `static_cast<${scoped(field.enum.file.proto.package, field.enum.name)}>(${value})`;
  }

  message(message: ReflectMessage, object: string) {
    for (const field of message.fields) {
      if (!message.isSet(field)) continue;
      const name = accessor(field.name);
      if (field.fieldKind === "list") {
        for (const item of message.get(field)) {
          if (field.listKind === "message") this.nested(item as ReflectMessage, field.name, `${object}add_${name}()`);
          else this.lines.push(`${object}add_${name}(${this.value(field, item)});`);
        }
      } else if (field.fieldKind === "message") {
        this.nested(message.get(field), field.name, `${object}mutable_${name}()`);
      } else {
        this.lines.push(`${object}set_${name}(${this.value(field, message.get(field))});`);
      }
    }
    for (const extension of extensionsByEnvelope.get(message.desc) ?? []) {
      if (!hasExtension(message.message, extension) || !extension.message) continue;
      const payload = reflect(extension.message, getExtension(message.message, extension) as Message);
      const id = scoped(extension.file.proto.package, extension.name);
      this.nested(payload, extension.name, `${object}MutableExtension(${id})`);
    }
  }

  private nested(message: ReflectMessage, name: string, access: string) {
    const before = this.lines.length;
    const variable = this.variable(name);
    this.message(message, `${variable}->`);
    if (this.lines.length === before) this.lines.push(`${access};`);
    else this.lines.splice(before, 0, `auto* ${variable} = ${access};`);
  }
}

export function cppLines(type: DescMessage, message: Message): string {
  const writer = new Writer();
  const variable = writer.variable(
    type.name.replace(/([a-z0-9])([A-Z])/g, "$1_$2").replace(/([A-Z])([A-Z][a-z])/g, "$1_$2"),
  );
  writer.message(reflect(type, message), `${variable}.`);
  return [
    `#include "${type.file.name}.pb.h"`,
    "",
    `${className(type)} ${variable};`,
    ...writer.lines,
  ].join("\n");
}
