// What the scripts of the pages load when they are used: the search index and the schema. Both are
// scripts themselves, because nothing else loads from a plain folder.

import { create, toBinary } from "@bufbuild/protobuf";
import { FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";
import { mkdirSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import type { SearchEntry, SearchPage } from "../browser/ranking.ts";
import { fileHref } from "./links.ts";
import {
  anchor,
  comment,
  enumsOf,
  extensionsOf,
  files,
  messagesOf,
  registry,
  shortFileName,
  type Element,
} from "./schema.ts";

const oneLine = (text: string) => text.replace(/\s+/g, " ");

function referencePages(): SearchPage[] {
  return files.map((file) => {
    const entry = (kind: SearchEntry[0], element: Element, number: number | null = null): SearchEntry =>
      [kind, anchor(element), number, oneLine(comment(element))];
    return {
      href: fileHref(file).slice(1),
      title: shortFileName(file),
      entries: [
        ["file", shortFileName(file), null, oneLine(comment(file)), ""],
        ...messagesOf(file).flatMap((message) => [
          entry("message", message),
          ...message.fields.map((field) => entry("field", field, field.number)),
        ]),
        ...enumsOf(file).flatMap((type) => [
          entry("enum", type),
          ...type.values.map((value) => entry("value", value, value.number)),
        ]),
        ...extensionsOf(file).map((extension) => entry("extension", extension, extension.number)),
        ...file.services.flatMap((service) => [
          entry("service", service),
          ...service.methods.map((method) => entry("method", method)),
        ]),
      ],
    };
  });
}

const entities: Record<string, string> = { lt: "<", gt: ">", amp: "&", quot: '"', "#39": "'" };
const plain = (html: string) =>
  oneLine(html.replace(/<[^>]+>/g, " ").replace(/&(#?\w+);/g, (all, name) => entities[name] ?? all)).trim();

/** The sections of the rendered guides. */
function guidePages(output: string): SearchPage[] {
  return readdirSync(join(output, "guides")).filter((name) => name.endsWith(".html")).map((name) => {
    const html = readFileSync(join(output, "guides", name), "utf8");
    const title = plain(/<h1[^>]*>(.*?)<\/h1>/s.exec(html)![1]);
    const content = /<div class="sl-markdown-content">(.*)<footer/s.exec(html)?.[1] ?? "";
    const entries: SearchEntry[] = content
      .split(/(?=<h[23][ >])/)
      .map((section) => {
        const heading = /^<h[23] id="([^"]+)"[^>]*>(.*?)<\/h[23]>(.*)/s.exec(section);
        return heading
          ? ["guide", plain(heading[2]), null, plain(heading[3]), heading[1]]
          : ["guide", title, null, plain(section), ""];
      });
    return { href: `guides/${name}`, title, entries };
  });
}

export function writeBrowserData(output: string) {
  const folder = join(output, "data");
  mkdirSync(folder, { recursive: true });
  const pages = [...referencePages(), ...guidePages(output)];
  writeFileSync(join(folder, "search.js"), `cmnsysSearch=${JSON.stringify(pages)};\n`);
  const set = create(FileDescriptorSetSchema, {
    file: [...registry.files].map(({ proto }) => ({ ...proto, sourceCodeInfo: undefined })),
  });
  const bytes = Buffer.from(toBinary(FileDescriptorSetSchema, set)).toString("base64");
  writeFileSync(join(folder, "schema.js"), `cmnsysSchema="${bytes}";\n`);
}
