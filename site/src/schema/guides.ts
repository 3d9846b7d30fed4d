// The guides: the page on the schema, and docs/*.md.

import { readdirSync, readFileSync } from "node:fs";
import { dirname, join, relative, resolve } from "node:path";
import { inputs } from "./inputs.ts";

/** Stands before the path of a file of the repository, from its root, in the links of guides. */
export const repository = "repository:";

const link = /\]\(([^)\s]+)\)/g;
const isElsewhere = (target: string) => /^[a-z]+:/.test(target) || target.startsWith("#");

function guide(name: string, path: string) {
  const text = readFileSync(path, "utf8");
  const title = /^# (.+)$/m.exec(text);
  if (!title) throw new Error(`${path} has no heading of the first level`);
  return {
    id: `guides/${name}`,
    title: title[1].replaceAll("`", ""),
    body: text.replace(title[0], "").replace(link, (all, target: string) =>
      isElsewhere(target) ? all : `](${repository}${relative(inputs.source, resolve(dirname(path), target))})`,
    ),
  };
}

const docs = join(inputs.source, "docs");

export const guides = [
  guide("schema", join(inputs.source, "ProtoBuf/CmnSys/README.md")),
  ...readdirSync(docs)
    .filter((name) => name.endsWith(".md"))
    .sort()
    .map((name) => guide(name.slice(0, -3), join(docs, name))),
];
