// Where messages and enums are used.

import type { DescEnum, DescExtension, DescField, DescMessage, DescMethod } from "@bufbuild/protobuf";
import { allExtensions, allMessages, allServices } from "./schema.ts";

export type Use = DescField | DescExtension | DescMethod;

const uses = new Map<DescMessage | DescEnum, Use[]>();

const add = (type: DescMessage | DescEnum | undefined, use: Use) => {
  if (!type) return;
  const list = uses.get(type);
  if (!list) uses.set(type, [use]);
  else if (list.at(-1) !== use) list.push(use);
};

for (const field of [...allMessages.flatMap((message) => message.fields), ...allExtensions]) {
  add(field.message ?? field.enum, field);
}
for (const method of allServices.flatMap((service) => service.methods)) {
  add(method.input, method);
  add(method.output, method);
}

/** Fields, extensions and methods of the type. */
export const usedBy = (type: DescMessage | DescEnum): Use[] => uses.get(type) ?? [];
