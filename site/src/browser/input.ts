// What somebody pastes, as bytes or JSON.

import type { JsonValue } from "@bufbuild/protobuf";
import { parse, printParseErrorCode, type ParseError } from "jsonc-parser";

export type Input =
  | { form: "hex" | "base64"; bytes: Uint8Array }
  | { form: "json"; json: string }
  | { form: "text"; text: string };

/** So many characters tell the form. */
const telling = 4096;

/** The form that the input seems to have. */
export function formOf(input: string): Input["form"] {
  const all = input.trim();
  const text = all.slice(0, telling);
  if (/^(\[\s*)?\{/.test(text)) return "json";
  if (isDump(text)) return "hex";
  // The last byte of the part may be cut off.
  const end = all.length > telling ? "[\\s,:;]*(0x?)?[0-9a-f]?" : "";
  if (new RegExp(`^(0x)?[0-9a-f]{2}([\\s,:;]*(0x)?[0-9a-f]{2})*${end}$`, "i").test(text)) return "hex";
  const bytesApart = /^\S{1,2}(\s+\S{1,2})+$/.test(text);
  if (!bytesApart && /^[A-Za-z0-9+/_\s-]+=*$/.test(text) && !/^[0-9a-f\s]+$/i.test(text)) return "base64";
  if (/^[\w[#].*[:{<]/s.test(text)) return "text";
  return "hex";
}

/** The value of a JSON text; an Error says where the text is none. */
export function parseJson(text: string): JsonValue {
  try {
    return JSON.parse(text) as JsonValue;
  } catch {
    const errors: ParseError[] = [];
    parse(text, errors, { disallowComments: true });
    const [first] = errors;
    if (!first) throw new Error("This is not JSON.");
    const reason = printParseErrorCode(first.error).replace(/(?<=[a-z])[A-Z]/g, (ch) => ` ${ch.toLowerCase()}`);
    throw new Error(`This is not JSON: ${reason.toLowerCase()} (${place(text, first.offset)}).`);
  }
}

function place(input: string, at: number): string {
  const before = input.slice(0, at).split("\n");
  return `line ${before.length}, column ${before.at(-1)!.length + 1}`;
}

/** A dump by xxd, hexdump -C, od -t x1 or Wireshark begins with the offset 0. */
const isDump = (input: string) => /^\s*(0{6,8}:?|0{4}:|0{4}\s)\s+\S/.test(input);

/** The bytes of a dump whose lines begin with offsets, which show whether a line is missing. */
function fromDump(input: string): Uint8Array {
  const bytes: number[] = [];
  let bases = [16, 8, 10];
  let start = 0;
  for (const line of input.split("\n")) {
    const [prefix = "", offset] = /^\s*([0-9a-f]+):?(?=\s|$)/i.exec(line) ?? [];
    if (offset) {
      bases = bases.filter((base) => Number.parseInt(offset, base) === bytes.length);
      if (bases.length === 0) {
        throw new Error(`${bytes.length} bytes stand before the offset ${offset} (${place(input, start)}).`);
      }
      let count = 0;
      for (const [, gap, digits] of line.slice(prefix.length).matchAll(/(\s+)(\S+)/g)) {
        // Behind a gap stand characters; hexdump -C has one in the middle of its bytes, too.
        const ends = count > 0 && gap.length > (count === 8 ? 2 : 1);
        if (ends || !/^([0-9a-f]{2})+$/i.test(digits)) break;
        if (digits.length > 2 && !prefix.endsWith(":")) {
          throw new Error(
            `Nothing tells the order of the bytes in “${digits}” (${place(input, start)}): dump with xxd or hexdump -C.`,
          );
        }
        for (const byte of digits.match(/../g)!) bytes.push(Number.parseInt(byte, 16));
        count += digits.length / 2;
      }
    } else if (line.trim()) {
      throw new Error(
        line.trim() === "*"
          ? `“*” stands for lines that the dump leaves out (${place(input, start)}): dump with xxd or hexdump -v.`
          : `This line of the dump has no offset (${place(input, start)}).`,
      );
    }
    start += line.length + 1;
  }
  return Uint8Array.from(bytes);
}

function fromHex(input: string): Uint8Array {
  if (isDump(input)) return fromDump(input);
  const digits: number[] = [];
  let last = 0;
  for (let i = 0; i < input.length; i++) {
    const ch = input[i];
    if (/[\s,:;]/.test(ch)) continue;
    if (ch === "0" && /x/i.test(input[i + 1] ?? "")) {
      i++;
      continue;
    }
    const digit = Number.parseInt(ch, 16);
    if (Number.isNaN(digit)) {
      throw new Error(`“${ch}” is no hexadecimal digit (${place(input, i)}).`);
    }
    digits.push(digit);
    last = i;
  }
  if (digits.length % 2) {
    throw new Error(`The last byte has one digit only (${place(input, last)}).`);
  }
  return Uint8Array.from({ length: digits.length / 2 }, (_, i) => digits[2 * i] * 16 + digits[2 * i + 1]);
}

function fromBase64(input: string): Uint8Array {
  const bad = /[^A-Za-z0-9+/_=\s-]/.exec(input);
  if (bad) throw new Error(`“${bad[0]}” does not occur in base64 (${place(input, bad.index)}).`);
  const text = input.replace(/\s/g, "").replace(/-/g, "+").replace(/_/g, "/");
  try {
    return Uint8Array.from(atob(text), (ch) => ch.charCodeAt(0));
  } catch {
    throw new Error(`${text.length} characters of base64 make no whole bytes: is the end missing?`);
  }
}

/** Throws an Error that says what is wrong and where. */
export function readInput(input: string, form = formOf(input)): Input {
  switch (form) {
    case "hex":
      return { form, bytes: fromHex(input) };
    case "base64":
      return { form, bytes: fromBase64(input) };
    case "json":
      return { form, json: input };
    default:
      return { form, text: input };
  }
}
