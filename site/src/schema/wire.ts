// What a field looks like on the wire.

import { ScalarType, type DescExtension, type DescField } from "@bufbuild/protobuf";
import { BinaryWriter, WireType } from "@bufbuild/protobuf/wire";

export function wireTypeOf(field: DescField | DescExtension): WireType {
  if (field.message) return WireType.LengthDelimited;
  if (field.fieldKind === "list" && field.packed) return WireType.LengthDelimited;
  switch (field.scalar) {
    case ScalarType.DOUBLE:
    case ScalarType.FIXED64:
    case ScalarType.SFIXED64:
      return WireType.Bit64;
    case ScalarType.FLOAT:
    case ScalarType.FIXED32:
    case ScalarType.SFIXED32:
      return WireType.Bit32;
    case ScalarType.STRING:
    case ScalarType.BYTES:
      return WireType.LengthDelimited;
    default:
      return WireType.Varint;
  }
}

const names: Record<number, string> = {
  [WireType.Varint]: "varint",
  [WireType.Bit64]: "8 bytes",
  [WireType.LengthDelimited]: "length, bytes",
  [WireType.Bit32]: "4 bytes",
};

export const wireType = (field: DescField | DescExtension) => names[wireTypeOf(field)];

/** The bytes before the value: number and wire type. */
export const tagBytes = (field: DescField | DescExtension) =>
  [...new BinaryWriter().tag(field.number, wireTypeOf(field)).finish()]
    .map((byte) => byte.toString(16).padStart(2, "0"))
    .join(" ");
