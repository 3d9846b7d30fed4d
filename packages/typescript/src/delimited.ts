// Streams of messages, each behind its length as a varint, as cmnsys reads and writes them.

import { fromBinary, toBinary, type DescMessage, type MessageShape } from "@bufbuild/protobuf";

/** A stream that is cut off, damaged or holds something else. */
export class DelimitedError extends Error {
  override name = "DelimitedError";
}

/** More bytes cannot be the length of a message of at most 2 GiB. */
const maxLengthBytes = 5;

/**
 * Yields the messages of a stream, for example of Node's createReadStream, one at a time.
 *
 * Throws DelimitedError, which tells the number of the message, counted from 0, when one is cut off,
 * is longer than `maxBytes` (64 MiB unless told) or is none.
 */
export async function* readDelimited<S extends DescMessage>(
  schema: S,
  stream: AsyncIterable<Uint8Array> | Iterable<Uint8Array>,
  { maxBytes = 64 * 1024 * 1024 } = {},
): AsyncGenerator<MessageShape<S>> {
  let blocks: Uint8Array[] = [];
  let have = 0;
  let want = 1;
  let index = 0;
  for await (const block of stream) {
    blocks.push(block);
    have += block.length;
    // Blocks are joined once a whole message is there, not at every block.
    if (have < want) continue;
    let bytes = join(blocks, have);
    for (;;) {
      const { eof, offset, size } = peek(bytes, index);
      if (eof) {
        want = bytes.length + 1;
        break;
      }
      if (size > maxBytes) {
        throw new DelimitedError(`message ${index} has ${size} bytes, more than maxBytes (${maxBytes})`);
      }
      want = offset + size;
      if (bytes.length < want) break;
      yield parse(schema, bytes.subarray(offset, want), index);
      bytes = bytes.subarray(want);
      index++;
    }
    blocks = bytes.length > 0 ? [bytes] : [];
    have = bytes.length;
  }
  if (have > 0) throw new DelimitedError(`message ${index} is cut off`);
}

function peek(bytes: Uint8Array, index: number): { eof: boolean; offset: number; size: number } {
  let size = 0;
  for (let offset = 0; offset < bytes.length; ) {
    const byte = bytes[offset];
    size += (byte & 0x7f) * 2 ** (7 * offset++);
    if (byte < 0x80) return { eof: false, offset, size };
    if (offset === maxLengthBytes) {
      throw new DelimitedError(`the length of message ${index} is no varint of at most 5 bytes`);
    }
  }
  return { eof: true, offset: 0, size: 0 };
}

function parse<S extends DescMessage>(schema: S, bytes: Uint8Array, index: number): MessageShape<S> {
  try {
    return fromBinary(schema, bytes);
  } catch (error) {
    throw new DelimitedError(`message ${index} is no ${schema.typeName}: ${(error as Error).message}`);
  }
}

function join(blocks: Uint8Array[], size: number): Uint8Array {
  if (blocks.length === 1) return blocks[0];
  const bytes = new Uint8Array(size);
  let at = 0;
  for (const block of blocks) {
    bytes.set(block, at);
    at += block.length;
  }
  return bytes;
}

/** The message behind its length. */
export function writeDelimited<S extends DescMessage>(schema: S, message: MessageShape<S>): Uint8Array {
  const body = toBinary(schema, message);
  const length: number[] = [];
  let rest = body.length;
  for (; rest >= 0x80; rest = Math.floor(rest / 0x80)) length.push((rest & 0x7f) | 0x80);
  length.push(rest);
  return join([Uint8Array.from(length), body], length.length + body.length);
}
