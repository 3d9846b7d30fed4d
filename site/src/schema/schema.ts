// The schema as the site reads it: the descriptor set with its comments.

import {
  createFileRegistry,
  fromBinary,
  type DescEnum,
  type DescExtension,
  type DescFile,
  type DescMessage,
} from "@bufbuild/protobuf";
import { FileDescriptorSetSchema, type FileDescriptorProto } from "@bufbuild/protobuf/wkt";
import { readFileSync } from "node:fs";
import { inputs } from "./inputs.ts";
import { fullName, type Element } from "./names.ts";

export * from "./names.ts";

const set = fromBinary(FileDescriptorSetSchema, readFileSync(inputs.descriptorSet));

export const registry = createFileRegistry(set);

/** All files of the system, those of the siblings among them, in the order of their names. */
export const files: DescFile[] = [...registry.files]
  .filter((file) => file.name.startsWith("ProtoBuf/"))
  .sort((a, b) => a.name.localeCompare(b.name));

function nested(messages: DescMessage[]): DescMessage[] {
  return messages.flatMap((message) => [message, ...nested(message.nestedMessages)]);
}

/** Messages of a file, each followed by those that it declares. */
export const messagesOf = (file: DescFile) => nested(file.messages);

export const enumsOf = (file: DescFile) => [
  ...file.enums,
  ...messagesOf(file).flatMap((message) => message.nestedEnums),
];

export const extensionsOf = (file: DescFile) => [
  ...file.extensions,
  ...messagesOf(file).flatMap((message) => message.nestedExtensions),
];

export const allMessages = files.flatMap(messagesOf);
export const allEnums = files.flatMap(enumsOf);
export const allExtensions = files.flatMap(extensionsOf);
export const allServices = files.flatMap((file) => file.services);

export const extensionsByEnvelope = new Map<DescMessage, DescExtension[]>();
for (const extension of allExtensions) {
  const siblings = extensionsByEnvelope.get(extension.extendee) ?? [];
  extensionsByEnvelope.set(extension.extendee, [...siblings, extension]);
}

/** What a file imports, in its order; only files that have pages. */
export const importsOf = (file: DescFile) => file.dependencies.filter((f) => files.includes(f));
export const importersOf = (file: DescFile) => files.filter((f) => f.dependencies.includes(file));

// Comments, found by the numbers of FileDescriptorProto's fields.

function readComments(proto: FileDescriptorProto, into: Map<string, string>) {
  const texts = new Map<string, string>();
  for (const location of proto.sourceCodeInfo?.location ?? []) {
    if (location.leadingComments) {
      texts.set(location.path.join("."), unindent(location.leadingComments));
    }
    if (location.path.join(".") === "12") {
      const detached = location.leadingDetachedComments.map(unindent).join("\n\n");
      into.set(proto.name, [detached, unindent(location.leadingComments)].filter(Boolean).join("\n\n"));
    }
  }
  const put = (path: string, name: string) => into.set(name, texts.get(path) ?? "");
  const enums = (list: FileDescriptorProto["enumType"], path: string, scope: string) =>
    list.forEach((type, i) => {
      put(`${path}.${i}`, `${scope}.${type.name}`);
      type.value.forEach((v, k) => put(`${path}.${i}.2.${k}`, `${scope}.${type.name}.${v.name}`));
    });
  const messages = (list: FileDescriptorProto["messageType"], path: string, scope: string) =>
    list.forEach((type, i) => {
      const [at, name] = [`${path}.${i}`, `${scope}.${type.name}`];
      put(at, name);
      type.field.forEach((field, k) => put(`${at}.2.${k}`, `${name}.${field.name}`));
      type.extension.forEach((field, k) => put(`${at}.6.${k}`, `${name}.${field.name}`));
      messages(type.nestedType, `${at}.3`, name);
      enums(type.enumType, `${at}.4`, name);
    });
  messages(proto.messageType, "4", proto.package);
  enums(proto.enumType, "5", proto.package);
  proto.extension.forEach((field, k) => put(`7.${k}`, `${proto.package}.${field.name}`));
  proto.service.forEach((service, i) => {
    put(`6.${i}`, `${proto.package}.${service.name}`);
    service.method.forEach((method, k) =>
      put(`6.${i}.2.${k}`, `${proto.package}.${service.name}.${method.name}`),
    );
  });
}

const unindent = (text: string) => text.replace(/^ /gm, "").trim();

const comments = new Map<string, string>();
for (const proto of set.file) readComments(proto, comments);

/** What the schema says of an element, or of a file at its top. */
export const comment = (element: Element | DescFile): string =>
  comments.get(element.kind === "file" ? `${element.name}.proto` : fullName(element)) ?? "";
