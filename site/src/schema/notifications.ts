// Which notifications follow a call, as the comments around a method tell it.

import type { DescEnumValue, DescMethod, DescService } from "@bufbuild/protobuf";
import { resolve } from "./links.ts";
import { comment, type Element } from "./schema.ts";

function named(texts: string[]): DescEnumValue[] {
  const found = texts
    .flatMap((text) => text.match(/\bNOTIFICATION_\w+/g) ?? [])
    .map((name) => resolve(name) as Element | undefined)
    .filter((element): element is DescEnumValue => element?.kind === "enum_value");
  return [...new Set(found)];
}

export const notificationsAfter = (method: DescMethod) =>
  named([comment(method), comment(method.input), comment(method.output)]);

/** Those of a service, told at its methods or for all of them together. */
export const notificationsOf = (service: DescService) => [
  ...new Set([
    ...named([comment(service), comment(service.file)]),
    ...service.methods.flatMap(notificationsAfter),
  ]),
];
