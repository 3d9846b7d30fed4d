// The areas of the schema, read from the table on the schema's own page.

import type { DescFile } from "@bufbuild/protobuf";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { inputs } from "./inputs.ts";
import { fileKey, files } from "./schema.ts";

export interface Area {
  name: string;
  /** Address part and anchor. */
  key: string;
  data: DescFile[];
  services: DescFile[];
  /** What carries what, as Markdown of one line. */
  gist: string;
}

export const schemaPage = readFileSync(join(inputs.source, "ProtoBuf/CmnSys/README.md"), "utf8");

const byKey = new Map(files.map((file) => [fileKey(file), file]));

function linkedFiles(cell: string): DescFile[] {
  return [...cell.matchAll(/\]\(([^)]+)\.proto\)/g)].map(([, key]) => {
    const file = byKey.get(key);
    if (!file) throw new Error(`ProtoBuf/CmnSys/README.md lists ${key}.proto, which is not there.`);
    return file;
  });
}

export const areas: Area[] = schemaPage
  .split("\n")
  .filter((line) => /^\| \*\*/.test(line))
  .map((line) => {
    const [name, data, services, gist] = line.split("|").slice(1, -1).map((cell) => cell.trim());
    const plain = name.replaceAll("*", "");
    return {
      name: plain,
      key: plain.toLowerCase().replace(/[^a-z]+/g, "-"),
      data: linkedFiles(data),
      services: linkedFiles(services),
      gist,
    };
  });

export const siblings = files.filter((file) => !file.name.startsWith("ProtoBuf/CmnSys/"));

export const areaOf = (file: DescFile) =>
  areas.find((area) => area.data.includes(file) || area.services.includes(file));

const listed = areas.reduce((n, area) => n + area.data.length + area.services.length, 0);
if (listed + siblings.length !== files.length) {
  const missing = files.filter((file) => !areaOf(file) && !siblings.includes(file));
  throw new Error(`ProtoBuf/CmnSys/README.md does not list ${missing.map((f) => f.name).join(", ")}`);
}
