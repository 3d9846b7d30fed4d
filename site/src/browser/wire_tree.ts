// The fields of encoded bytes with the place of each, as far as the bytes can be read.

import {
  ScalarType,
  type DescExtension,
  type DescField,
  type DescMessage,
  type Registry,
} from "@bufbuild/protobuf";

export interface WireField {
  number: number;
  /** Absent when the message does not know the number, or not with this wire type. */
  field?: DescField | DescExtension;
  /** Where the field begins, its value begins, and it ends. */
  start: number;
  valueStart: number;
  end: number;
  /** The value as text; for messages its fields stand in children. */
  value?: string;
  /** The number of an enum's value. */
  enumNumber?: number;
  children?: WireField[];
  /** What is odd about it although it can be read. */
  remark?: string;
}

export interface WireFault {
  offset: number;
  path: string;
  reason: string;
}

export interface WireTree {
  fields: WireField[];
  fault?: WireFault;
  /** There are more fields than were asked for. */
  cut: boolean;
}

export interface WireLimit {
  /** How many fields and packed values are kept. */
  fields: number;
  /** What comes after them is still searched for a fault. */
  checkAll: boolean;
}

const maxDepth = 100;
/** Of longer strings and bytes only the beginning is made a value. */
const maxValueBytes = 4096;

class Fault extends Error {
  constructor(
    readonly offset: number,
    readonly reason: string,
  ) {
    super(reason);
  }
}

const wireTypeNames = ["varint", "8 bytes", "length and bytes", "group", "end of group", "4 bytes"];

const expectedWireType = (scalar: ScalarType | undefined): number => {
  switch (scalar) {
    case ScalarType.DOUBLE:
    case ScalarType.FIXED64:
    case ScalarType.SFIXED64:
      return 1;
    case ScalarType.FLOAT:
    case ScalarType.FIXED32:
    case ScalarType.SFIXED32:
      return 5;
    case ScalarType.STRING:
    case ScalarType.BYTES:
      return 2;
    default:
      return 0;
  }
};

const hex = (bytes: Uint8Array) =>
  [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");

const signed = (value: bigint) => BigInt.asIntN(64, value);
const zigzag = (value: bigint) => (value >> 1n) ^ -(value & 1n);

class Reader {
  private view: DataView;
  private kept = 0;
  fault?: WireFault;
  cut = false;

  constructor(
    private bytes: Uint8Array,
    private registry: Registry,
    private limit: WireLimit,
  ) {
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  }

  /** Whether one more field or value is to be kept. */
  private keep(): boolean {
    if (this.kept >= this.limit.fields) this.cut = true;
    else this.kept++;
    return !this.cut;
  }

  private get ended(): boolean {
    return this.fault !== undefined || (this.cut && !this.limit.checkAll);
  }

  private varint(at: number, end: number): [bigint, number] {
    let value = 0n;
    for (let i = 0; i < 10; i++) {
      if (at + i >= end) throw new Fault(at, "the bytes end inside a number");
      const byte = this.bytes[at + i];
      value |= BigInt(byte & 0x7f) << BigInt(7 * i);
      if (byte < 0x80) return [BigInt.asUintN(64, value), at + i + 1];
    }
    throw new Fault(at, "a number has more than 10 bytes");
  }

  private varintValue(field: DescField | DescExtension, value: bigint): Partial<WireField> {
    if (field.enum) {
      const number = Number(BigInt.asIntN(32, value));
      const named = field.enum.value[number];
      return named
        ? { value: named.name, enumNumber: number }
        : { value: String(number), remark: `${field.enum.name} has no such value` };
    }
    switch (field.scalar) {
      case ScalarType.BOOL:
        return { value: String(value !== 0n) };
      case ScalarType.INT32:
        return { value: String(BigInt.asIntN(32, value)) };
      case ScalarType.UINT32:
        return { value: String(BigInt.asUintN(32, value)) };
      case ScalarType.INT64:
        return { value: String(signed(value)) };
      case ScalarType.SINT32:
      case ScalarType.SINT64:
        return { value: String(zigzag(value)) };
      default:
        return { value: String(value) };
    }
  }

  private fixed(scalar: ScalarType | undefined, at: number): string {
    switch (scalar) {
      case ScalarType.DOUBLE:
        return String(this.view.getFloat64(at, true));
      case ScalarType.FLOAT:
        return String(this.view.getFloat32(at, true));
      case ScalarType.SFIXED64:
        return String(this.view.getBigInt64(at, true));
      case ScalarType.FIXED32:
        return String(this.view.getUint32(at, true));
      case ScalarType.SFIXED32:
        return String(this.view.getInt32(at, true));
      default:
        return String(this.view.getBigUint64(at, true));
    }
  }

  private fieldOf(type: DescMessage | undefined, number: number) {
    return (
      type?.fields.find((field) => field.number === number) ??
      (type && this.registry.getExtensionFor(type, number))
    );
  }

  /** The fields between two offsets; sets fault and returns what could be read. */
  read(type: DescMessage | undefined, start: number, end: number, path: string, depth: number, group = 0) {
    const fields: WireField[] = [];
    let at = start;
    while (at < end) {
      let here = path;
      try {
        const [tag, afterTag] = this.varint(at, end);
        const wireType = Number(tag & 7n);
        const number = Number(tag >> 3n);
        if (number === 0 || number >= 1 << 29) {
          throw new Fault(at, `a field cannot have the number ${number}`);
        }
        if (wireType > 5) throw new Fault(at, `wire type ${wireType} does not exist`);
        if (wireType === 4) {
          if (number !== group) throw new Fault(at, `group ${number} ends here without a beginning`);
          return { fields, at: afterTag };
        }
        const declared = this.fieldOf(type, number);
        here = path ? `${path}.${declared?.name ?? number}` : (declared?.name ?? String(number));
        const node: WireField = { number, start: at, valueStart: afterTag, end: afterTag };
        if (this.keep()) fields.push(node);
        else if (this.ended) return { fields, at: end };
        const wanted = declared && (declared.message ? 2 : expectedWireType(declared.scalar));
        const packed = declared?.fieldKind === "list" && !declared.message && wireType === 2 && wanted !== 2;
        if (declared && (wireType === wanted || packed)) node.field = declared;
        else if (declared) {
          node.remark = `${declared.name} has this number, but as ${wireTypeNames[wanted!]}`;
        }
        this.value(node, wireType, packed, end, here, depth);
        if (this.ended) return { fields, at: end };
        at = node.end;
      } catch (error) {
        if (!(error instanceof Fault)) throw error;
        this.fault ??= { offset: error.offset, path: here, reason: error.reason };
        return { fields, at: end };
      }
    }
    if (group && !this.ended) this.fault ??= { offset: end, path, reason: `group ${group} does not end` };
    return { fields, at };
  }

  private value(node: WireField, wireType: number, packed: boolean, end: number, path: string, depth: number) {
    const { field } = node;
    const at = node.valueStart;
    if (wireType === 0) {
      const [value, next] = this.varint(at, end);
      Object.assign(node, field ? this.varintValue(field, value) : { value: String(value) });
      node.end = next;
    } else if (wireType === 1 || wireType === 5) {
      const size = wireType === 1 ? 8 : 4;
      if (at + size > end) throw new Fault(at, `${size} bytes are wanted, ${end - at} are left`);
      node.value = this.fixed(field?.scalar ?? (size === 4 ? ScalarType.FIXED32 : undefined), at);
      node.end = at + size;
    } else if (wireType === 2) {
      const [length, begin] = this.varint(at, end);
      if (length > BigInt(end - begin)) {
        throw new Fault(at, `${length} bytes are announced, ${end - begin} are left`);
      }
      node.valueStart = begin;
      node.end = begin + Number(length);
      if (field?.message) {
        if (depth >= maxDepth) throw new Fault(at, `more than ${maxDepth} messages in each other`);
        node.children = this.read(field.message, begin, node.end, path, depth + 1).fields;
      } else if (packed) {
        node.value = this.packed(field!, begin, node.end);
      } else {
        this.bytesValue(node, begin);
      }
    } else {
      if (depth >= maxDepth) throw new Fault(at, `more than ${maxDepth} messages in each other`);
      const inner = this.read(undefined, at, end, path, depth + 1, node.number);
      node.children = inner.fields;
      node.end = inner.at;
    }
  }

  private packed(field: DescField | DescExtension, begin: number, end: number): string {
    const values: string[] = [];
    const wireType = expectedWireType(field.scalar);
    for (let at = begin; at < end; ) {
      const kept = this.keep();
      if (!kept && this.ended) break;
      if (wireType === 0) {
        const [value, next] = this.varint(at, end);
        if (kept) values.push(this.varintValue(field, value).value!);
        at = next;
      } else {
        const size = wireType === 1 ? 8 : 4;
        if (at + size > end) throw new Fault(at, `${size} bytes are wanted, ${end - at} are left`);
        if (kept) values.push(this.fixed(field.scalar, at));
        at += size;
      }
    }
    return `[${values.join(", ")}${this.cut ? ", …" : ""}]`;
  }

  private bytesValue(node: WireField, begin: number) {
    const size = node.end - begin;
    const bytes = this.bytes.subarray(begin, begin + Math.min(size, maxValueBytes));
    const rest = size > bytes.length ? `… (${size} bytes)` : "";
    if (node.field?.scalar === ScalarType.BYTES) {
      node.value = size ? hex(bytes) + rest : "empty";
      return;
    }
    try {
      const decoder = new TextDecoder("utf-8", { fatal: true });
      if (node.field) decoder.decode(this.bytes.subarray(begin, node.end));
      const text = decoder.decode(bytes, { stream: rest !== "" });
      const readable = node.field || !/[\x00-\x08\x0e-\x1f]/.test(text);
      node.value = (readable ? JSON.stringify(text) : hex(bytes)) + rest;
    } catch {
      node.value = hex(bytes) + rest;
      if (node.field) node.remark = "not UTF-8";
    }
  }
}

export function readWire(
  bytes: Uint8Array,
  type: DescMessage,
  registry: Registry,
  limit: WireLimit,
): WireTree {
  const reader = new Reader(bytes, registry, limit);
  const { fields } = reader.read(type, 0, bytes.length, "", 1);
  return { fields, fault: reader.fault, cut: reader.cut };
}
