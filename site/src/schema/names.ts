// How files and elements of the schema are named in texts and addresses. Also for the browser.

import type {
  DescEnum,
  DescEnumValue,
  DescExtension,
  DescField,
  DescFile,
  DescMessage,
  DescMethod,
  DescService,
} from "@bufbuild/protobuf";

export type Element =
  | DescMessage
  | DescField
  | DescEnum
  | DescEnumValue
  | DescExtension
  | DescService
  | DescMethod;

/** CmnSys.Gid for ProtoBuf/CmnSys/CmnSys.Gid. Names a file in addresses. */
export const fileKey = (file: DescFile) => file.name.split("/").at(-1)!;

/** Gid for CmnSys.Gid: what people call the file. */
export const shortFileName = (file: DescFile) => fileKey(file).replace(/^CmnSys\./, "");

export function fileOf(element: Element): DescFile {
  switch (element.kind) {
    case "field":
    case "enum_value":
    case "rpc":
      return element.parent.file;
    default:
      return element.file;
  }
}

/** The full name, in which the enum of a value is a part: Pb.CmnSys.GidType.GID_TYPE_DEVICE. */
export function fullName(element: Element): string {
  switch (element.kind) {
    case "field":
    case "enum_value":
    case "rpc":
      return `${element.parent.typeName}.${element.name}`;
    default:
      return element.typeName;
  }
}

/** The name inside the file's package: GidType.GID_TYPE_DEVICE. Its anchor on the file's page. */
export function anchor(element: Element): string {
  return fullName(element).slice(fileOf(element).proto.package.length + 1);
}

/** Addresses, from the root of the site. */
export const fileHref = (file: DescFile) => `/reference/${fileKey(file)}.html`;
export const href = (element: Element) => `${fileHref(fileOf(element))}#${anchor(element)}`;
