// The bench of the decoder's page.

import {
  createFileRegistry,
  fromBinary,
  fromJson,
  toBinary,
  toJsonString,
  type DescMessage,
  type FileRegistry,
} from "@bufbuild/protobuf";
import { fromText, toText } from "@bufbuild/protobuf/txtpb";
import { BinaryReader } from "@bufbuild/protobuf/wire";
import { FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";
import { fullName, href, type Element } from "../schema/names.ts";
import { guessBinary, guessJson } from "./guess.ts";
import { formOf, parseJson, readInput } from "./input.ts";
import { load, root } from "./load.ts";
import { readWire, type WireField, type WireTree } from "./wire_tree.ts";

const maxInput = 4 << 20;
const maxShownBytes = 8192;
const guesses = 6;
const shownFields = { fields: 3000, checkAll: true };

const byId = <T extends HTMLElement>(id: string) => document.getElementById(id) as T;
const input = byId<HTMLTextAreaElement>("input");
const typeInput = byId<HTMLInputElement>("type");
const typeNames = byId<HTMLDataListElement>("type-names");
const formSelect = byId<HTMLSelectElement>("form");
const message = byId("message");
const alternatives = byId("alternatives");
const result = byId("result");
const tree = byId("tree");
const dump = byId("bytes");
const output = byId("output");
const title = byId("result-type");

const elementLink = (element: Element, text = element.name) => {
  const link = document.createElement("a");
  link.href = root + href(element).slice(1);
  link.textContent = text;
  link.title = fullName(element);
  return link;
};

function made(name: string, className: string, ...content: (Node | string)[]): HTMLElement {
  const element = document.createElement(name);
  if (className) element.className = className;
  element.append(...content);
  return element;
}

let registry: FileRegistry | undefined;

async function schema(): Promise<FileRegistry> {
  if (!registry) {
    const base64 = await load<string>("schema", "cmnsysSchema");
    const bytes = Uint8Array.from(atob(base64), (ch) => ch.charCodeAt(0));
    registry = createFileRegistry(fromBinary(FileDescriptorSetSchema, bytes));
    for (const type of registry) {
      if (type.kind !== "message" || !type.file.name.startsWith("ProtoBuf/")) continue;
      const option = document.createElement("option");
      option.value = type.typeName;
      typeNames.append(option);
    }
  }
  return registry;
}

/** What bytes may be that are no message. */
function hintAt(bytes: Uint8Array, type: DescMessage, registry: FileRegistry): string {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  if (bytes.length >= 5 && bytes[0] === 0 && view.getUint32(1) === bytes.length - 5) {
    return " The first five bytes are the ones that gRPC puts in front of each message: leave them out.";
  }
  const reader = new BinaryReader(bytes);
  try {
    const first = reader.bytes();
    if (first.length === 0 || readWire(first, type, registry, shownFields).fault) return "";
    const start = reader.pos - first.length;
    return ` A message of ${first.length} bytes begins at byte ${start}: this may be a stream with a length before each message.`;
  } catch {
    return "";
  }
}

/** The type by its full name, or by its last part when only one type has it. */
function typeNamed(name: string, registry: FileRegistry): DescMessage {
  const exact = registry.getMessage(name.replace(/^\./, ""));
  if (exact) return exact;
  const found = [...registry].filter(
    (type): type is DescMessage =>
      type.kind === "message" && type.typeName.toLowerCase().endsWith(`.${name.toLowerCase()}`),
  );
  if (found.length === 1) return found[0];
  if (found.length === 0) throw new Error(`There is no message type “${name}”.`);
  throw new Error(`“${name}” may be ${found.map(({ typeName }) => typeName).join(" or ")}.`);
}

interface Decoded {
  type: DescMessage;
  bytes: Uint8Array;
  guessed: DescMessage[];
}

function decode(registry: FileRegistry): Decoded {
  if (input.value.length > maxInput) {
    throw new Error(
      `${input.value.length} characters are too many for this page; "cmnsys decode" has no such limit.`,
    );
  }
  const form = formSelect.value === "auto" ? formOf(input.value) : formSelect.value;
  const read = readInput(input.value, form as ReturnType<typeof formOf>);
  const named = typeInput.value.trim();
  let type = named ? typeNamed(named, registry) : undefined;
  let guessed: DescMessage[] = [];
  if (read.form === "json") {
    const json = parseJson(read.json);
    if (Array.isArray(json)) throw new Error("This is an array: paste one of its messages.");
    if (!type) {
      guessed = guessJson(json, registry, guesses);
      type = guessed[0];
      if (!type) {
        throw new Error("No message type has all these fields. Choose the type to see which one is wrong.");
      }
    }
    return { type, guessed, bytes: toBinary(type, fromJson(type, json, { registry })) };
  }
  if (read.form === "text") {
    if (!type) throw new Error("Text format does not tell its type: choose it.");
    return { type, guessed, bytes: toBinary(type, fromText(type, read.text, { registry })) };
  }
  if (!type) {
    guessed = guessBinary(read.bytes, registry, guesses);
    type = guessed[0] ?? registry.getMessage("Pb.CmnSys.Events.Event")!;
  }
  return { type, guessed, bytes: read.bytes };
}

let current: { decoded: Decoded; wire: WireTree } | undefined;

async function run() {
  message.textContent = "";
  alternatives.replaceChildren();
  result.hidden = true;
  current = undefined;
  if (!input.value.trim()) return;
  try {
    const registry = await schema();
    const decoded = decode(registry);
    const wire = readWire(decoded.bytes, decoded.type, registry, shownFields);
    current = { decoded, wire };
    show();
  } catch (error) {
    message.textContent = (error as Error).message;
  }
}

function show() {
  const { decoded, wire } = current!;
  const { type, bytes, guessed } = decoded;
  title.replaceChildren(
    elementLink(type, type.typeName),
    ` ${bytes.length} ${bytes.length === 1 ? "byte" : "bytes"}${guessed.length > 0 ? ", type guessed" : ""}`,
  );
  if (wire.fault) {
    const { offset, path, reason } = wire.fault;
    message.textContent =
      `These bytes are no ${guessed.length || typeInput.value.trim() ? type.typeName : "message"}: at byte ${offset}` +
      `${path ? `, in ${path}` : ""}, ${reason}.${hintAt(bytes, type, registry!)}`;
  }
  if (guessed.length > 1) {
    alternatives.append(
      "It may also be ",
      ...guessed.slice(1).flatMap((other, i) => {
        const button = document.createElement("button");
        button.type = "button";
        button.textContent = other.name;
        button.title = other.typeName;
        button.addEventListener("click", () => {
          typeInput.value = other.typeName;
          run();
        });
        return i > 0 ? [" ", button] : [button];
      }),
    );
  }
  showBytes(bytes, wire.fault?.offset);
  tree.replaceChildren(fieldList(wire.fields));
  if (wire.cut) {
    tree.append(made("p", "used", `Only the first ${shownFields.fields} fields and packed values are shown.`));
  }
  result.hidden = false;
  showForm();
}

function fieldRow(node: WireField): HTMLElement {
  const { field, number, value, enumNumber, remark, children, start, end } = node;
  const name = field
    ? elementLink(field, field.kind === "extension" ? `[${field.name}]` : field.name)
    : made("span", "unknown", `unknown field ${number}`);
  const place = document.createElement("button");
  place.type = "button";
  place.className = "place";
  place.textContent = `${start}`;
  place.setAttribute("aria-label", `Bytes ${start} to ${end - 1}, field ${field?.name ?? number}`);
  const row = made("div", "row", place, made("span", "no", String(number)), name);
  if (value !== undefined) {
    const named = enumNumber !== undefined ? field?.enum?.value[enumNumber] : undefined;
    row.append(
      " ",
      named ? elementLink(named) : made("span", "value", value),
      ...(named ? [made("small", "", ` ${enumNumber}`)] : []),
    );
  } else if (field?.message) {
    row.append(" ", made("span", "of", elementLink(field.message)));
  }
  if (remark) row.append(made("span", "remark", remark));
  const light = () => highlight(node, row);
  row.addEventListener("pointerenter", light);
  place.addEventListener("focus", light);
  place.addEventListener("click", light);
  rows.set(node, row);
  return children && children.length > 0
    ? made("li", "", row, fieldList(children))
    : made("li", "", row);
}

const rows = new Map<WireField, HTMLElement>();
let byteCells: HTMLElement[] = [];

function fieldList(fields: WireField[]): HTMLElement {
  if (fields.length === 0) return made("p", "used", "No fields are set.");
  return made("ul", "", ...fields.map(fieldRow));
}

function showBytes(bytes: Uint8Array, fault?: number) {
  rows.clear();
  const shown = bytes.subarray(0, maxShownBytes);
  byteCells = [...shown].map((byte, offset) => {
    const cell = made("span", "", byte.toString(16).padStart(2, "0"));
    if (offset === fault) cell.className = "fault";
    cell.addEventListener("click", () => {
      const node = deepest(current!.wire.fields, offset);
      const row = node && rows.get(node);
      if (!node || !row) return;
      highlight(node, row);
      row.scrollIntoView({ block: "nearest" });
    });
    return cell;
  });
  const more = bytes.length - shown.length;
  dump.replaceChildren(
    ...byteCells.flatMap((cell) => [cell, " "]),
    ...(more > 0 ? [`and ${more} more`] : []),
  );
}

function deepest(fields: WireField[], offset: number): WireField | undefined {
  const node = fields.find(({ start, end }) => start <= offset && offset < end);
  return node && (deepest(node.children ?? [], offset) ?? node);
}

function highlight({ start, valueStart, end }: WireField, row: HTMLElement) {
  for (const lit of document.querySelectorAll(".lit, .lit-tag")) lit.classList.remove("lit", "lit-tag");
  row.classList.add("lit");
  byteCells.slice(start, valueStart).forEach((cell) => cell.classList.add("lit-tag"));
  byteCells.slice(valueStart, end).forEach((cell) => cell.classList.add("lit"));
}

const shownForm = () =>
  document.querySelector<HTMLInputElement>("input[name=shown]:checked")!.value;

function formText(form: string): string {
  const { type, bytes } = current!.decoded;
  const options = { registry, prettySpaces: 2, printUnknownFields: true };
  switch (form) {
    case "text":
      return toText(type, fromBinary(type, bytes), options);
    case "json":
      return toJsonString(type, fromBinary(type, bytes), options);
    case "hex":
      return [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    default: {
      let text = "";
      for (const byte of bytes) text += String.fromCharCode(byte);
      return btoa(text);
    }
  }
}

function showForm() {
  if (!current) return;
  const form = shownForm();
  const fields = form === "fields";
  byId("fields").hidden = !fields;
  output.hidden = fields;
  if (fields) return;
  try {
    output.textContent = formText(form);
  } catch (error) {
    output.textContent = `There is no such form of it: ${(error as Error).message}.`;
  }
}

let timer: ReturnType<typeof setTimeout> | undefined;
const soon = () => {
  clearTimeout(timer);
  timer = setTimeout(run, 150);
};

input.addEventListener("input", soon);
typeInput.addEventListener("focus", () => void schema(), { once: true });
typeInput.addEventListener("input", soon);
formSelect.addEventListener("change", run);
for (const radio of document.querySelectorAll("input[name=shown]")) {
  radio.addEventListener("change", showForm);
}
byId("clear").addEventListener("click", () => {
  input.value = typeInput.value = "";
  formSelect.value = "auto";
  run();
  input.focus();
});
for (const button of document.querySelectorAll<HTMLButtonElement>("[data-example]")) {
  button.addEventListener("click", () => {
    input.value = button.dataset.example!;
    typeInput.value = button.dataset.type ?? "";
    formSelect.value = "auto";
    run();
  });
}

/** decoder.html#TYPE=HEX shows a message at once. */
function fromAddress() {
  const [, type, bytes] = /^#([\w.]+)=([0-9a-f]*)$/.exec(location.hash) ?? [];
  if (!type) return;
  typeInput.value = type;
  formSelect.value = "hex";
  input.value = bytes.replace(/..(?=.)/g, "$& ");
  run();
}
addEventListener("hashchange", fromAddress);
byId("bench").hidden = false;
fromAddress();
