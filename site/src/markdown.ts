// What becomes of a guide's Markdown: links between files become links between pages, and names of
// the schema in inline code become links to the reference.

import { repository } from "./schema/guides.ts";
import { fileByPath, fileHref, href, resolveCode } from "./schema/links.ts";

interface Node {
  type: string;
  tagName?: string;
  properties?: Record<string, unknown>;
  children?: Node[];
  value?: string;
}

/** The page of a file of the repository, if it has one. */
function pageOf(path: string, fragment: string): string | undefined {
  if (path === "ProtoBuf/CmnSys/README.md") return `/guides/schema.html${fragment}`;
  const guide = /^docs\/([\w-]+)\.md$/.exec(path);
  if (guide) return `/guides/${guide[1]}.html${fragment}`;
  const file = fileByPath.get(path);
  return file && fileHref(file);
}

export function rehypeGuideLinks() {
  return (tree: Node) => {
    const visit = (node: Node, inLink: boolean, inPre: boolean) => {
      node.children?.forEach((child, i) => {
        if (child.tagName === "a") {
          const target = String(child.properties?.href ?? "");
          if (target.startsWith(repository)) {
            const [path, fragment] = target.slice(repository.length).split("#");
            const page = pageOf(path, fragment ? `#${fragment}` : "");
            if (page) child.properties!.href = page;
            else Object.assign(child, { tagName: "span", properties: {} });
          }
        } else if (child.tagName === "img") {
          // build.mjs puts the pictures of docs/ beside the guides.
          const source = String(child.properties?.src ?? "");
          if (source.startsWith(repository)) child.properties!.src = `/guides/${source.split("/").at(-1)}`;
        } else if (child.tagName === "code" && !inLink && !inPre) {
          const text = child.children?.map(({ value }) => value ?? "").join("") ?? "";
          const element = resolveCode(text);
          if (element) {
            node.children![i] = {
              type: "element",
              tagName: "a",
              properties: { href: href(element) },
              children: [child],
            };
          }
        }
        visit(child, inLink || child.tagName === "a", inPre || child.tagName === "pre");
      });
    };
    visit(tree, false, false);
  };
}
