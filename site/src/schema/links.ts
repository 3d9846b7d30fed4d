// Addresses of pages and elements, and names in texts turned into links.

import type { DescFile, DescMessage, DescService } from "@bufbuild/protobuf";
import {
  allEnums,
  allExtensions,
  allMessages,
  allServices,
  fileHref,
  fileKey,
  fileOf,
  files,
  fullName,
  href,
  shortFileName,
  type Element,
} from "./schema.ts";

export { fileHref, href };

const byFullName = new Map<string, Element>();
const bySimpleName = new Map<string, Element[]>();

function register(element: Element) {
  byFullName.set(fullName(element), element);
  bySimpleName.set(element.name, [...(bySimpleName.get(element.name) ?? []), element]);
}

for (const message of allMessages) {
  register(message);
  for (const field of message.fields) byFullName.set(fullName(field), field);
}
for (const type of allEnums) {
  register(type);
  type.values.forEach(register);
}
allExtensions.forEach(register);
for (const service of allServices) {
  register(service);
  service.methods.forEach(register);
}

const packageOf = (element: Element) => fileOf(element).proto.package;

/** The message or service that an element is or belongs to. */
function ownerOf(scope: Element | undefined): DescMessage | DescService | undefined {
  if (!scope) return undefined;
  if (scope.kind === "message" || scope.kind === "service") return scope;
  if (scope.kind === "field" || scope.kind === "rpc") return scope.parent;
  return undefined;
}

/**
 * The element that a name means where it stands: by its full name, as a member of what the text is
 * about, in the same package, or anywhere if only one has it. A dotted name may begin anywhere.
 */
export function resolve(name: string, scope?: Element): Element | undefined {
  const full = byFullName.get(name);
  if (full) return full;
  const owner = ownerOf(scope);
  if (owner) {
    const member =
      byFullName.get(`${owner.typeName}.${name}`) ??
      (owner.kind === "service" ? owner.methods.find((m) => m.name === name) : undefined);
    if (member) return member;
  }
  if (name.includes(".")) {
    const [head, ...rest] = name.split(".");
    const start = resolve(head, scope);
    return start && byFullName.get(`${fullName(start)}.${rest.join(".")}`);
  }
  const candidates = bySimpleName.get(name) ?? [];
  if (candidates.length === 1) return candidates[0];
  const near = scope ? candidates.filter((c) => packageOf(c) === packageOf(scope)) : [];
  return near.length === 1 ? near[0] : undefined;
}

/** As resolve; of several elements with the name, the one that is a file's namesake. */
export function resolveAnywhere(name: string): Element | undefined {
  const found = resolve(name);
  if (found) return found;
  const candidates = (bySimpleName.get(name) ?? []).filter((c) => c.kind === "message");
  return candidates.find((c) => fileKey(c.file).endsWith(`.${name}`)) ?? candidates[0];
}

/** The element that inline code in a guide names, if it names one. */
export function resolveCode(code: string): Element | undefined {
  const name = code.replaceAll("::", ".").replace(/^\[|\]$/g, "");
  if (!/^[A-Za-z_][\w.]*$/.test(name)) return undefined;
  if (!/[A-Z]/.test(name) && !name.includes("_")) return undefined;
  // A single word may be a class of a library too, unless a file is named after the message.
  if (/^[A-Z][a-z0-9]+$/.test(name)) {
    const named = (bySimpleName.get(name) ?? []).filter((e) => e.kind === "message" || e.kind === "service");
    return named.find((e) => [name, `${name}s`].includes(shortFileName(fileOf(e))));
  }
  return resolve(name) ?? (bySimpleName.get(name) ?? []).find((element) => element.kind === "message");
}

export const escape = (text: string) =>
  text.replace(/[&<>"]/g, (c) => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;" })[c]!);

const words = /\b(?:Pb(?:\.\w+)+|[A-Z][a-z0-9]\w*(?:\.\w+)*|[A-Z][A-Z0-9]*_[A-Z0-9_]*[A-Z0-9]|[a-z]+\w*_\w+(?:\.\w+)*)\b/g;

/** Whether a capital letter may be due to the beginning of a sentence. */
const beginsSentence = (text: string, at: number) => /(^|[.:;]\s+)$/.test(text.slice(0, at));

/** The text as HTML, with the names of other elements as links. */
export function linked(text: string, scope?: Element): string {
  let html = "";
  let from = 0;
  for (const match of text.matchAll(words)) {
    const name = match[0];
    const oneWord = /^[A-Z][a-z0-9]+$/.test(name);
    if (oneWord && beginsSentence(text, match.index)) continue;
    const element = resolve(name, scope);
    if (!element || element === scope) continue;
    if (oneWord && element.kind === "rpc" && !scope) continue;
    html += escape(text.slice(from, match.index));
    html += `<a href="${href(element)}">${escape(name)}</a>`;
    from = match.index + name.length;
  }
  return html + escape(text.slice(from));
}

/** A long name as HTML that may be broken between its words. */
export const breakable = (name: string) =>
  escape(name).replace(/_(?=\w)|[a-z0-9](?=[A-Z])/g, "$&<wbr>");

/** A comment as HTML: paragraphs and lists. */
export function prose(text: string, scope?: Element): string {
  return text
    .split(/\n\s*\n/)
    .filter(Boolean)
    .map((paragraph) => {
      const items = paragraph.split(/\n(?=\s*[-*] )/);
      const bullet = /^\s*[-*] /;
      const lead = bullet.test(items[0]) ? "" : `<p>${linked(items.shift()!, scope)}</p>`;
      const list = items.map((item) => `<li>${linked(item.replace(bullet, ""), scope)}</li>`);
      return lead + (list.length ? `<ul>${list.join("")}</ul>` : "");
    })
    .join("");
}

/** A line of Markdown with links to files and names in backquotes, as HTML. */
export function inlineMarkdown(text: string): string {
  return escape(text)
    .replace(/\[([^\]]+)\]\([^)]*\)/g, "$1")
    .replace(/`([^`]+)`/g, (_, code) => {
      const element = resolveAnywhere(code) ?? resolveAnywhere(code.replace(/s$/, ""));
      return element ? `<a href="${href(element)}"><code>${code}</code></a>` : `<code>${code}</code>`;
    });
}

/** Files as links in a row. */
export const fileLinks = (list: readonly DescFile[]) =>
  list.map((file) => `<a href="${fileHref(file)}">${shortFileName(file)}</a>`).join(", ");

export const fileByPath = new Map(files.map((file) => [`${file.name}.proto`, file]));
