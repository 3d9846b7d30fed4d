// The search of the page's header.

import { load, root } from "./load.ts";
import { prepare, search, type Candidate, type SearchPage } from "./ranking.ts";

const host = document.querySelector("site-search")!;
const opener = host.querySelector<HTMLButtonElement>("[data-open]")!;
const dialog = host.querySelector("dialog")!;
const input = host.querySelector("input")!;
const list = host.querySelector<HTMLElement>("[role=listbox]")!;
const status = host.querySelector("[role=status]")!;
const limit = 40;

let candidates: Candidate[] = [];
let active = -1;

async function open() {
  if (!dialog.open) dialog.showModal();
  input.select();
  if (candidates.length > 0) return;
  status.textContent = "Loading";
  try {
    candidates = prepare(await load<SearchPage[]>("search", "cmnsysSearch"));
    status.textContent = "";
    show();
  } catch (error) {
    list.replaceChildren();
    status.classList.remove("sr-only");
    status.textContent = `The search does not work: ${(error as Error).message}.`;
  }
}

const addressOf = ({ page, entry }: Candidate) => {
  const fragment = entry[4] ?? entry[1];
  return `${root}${page.href}${fragment ? `#${fragment}` : ""}`;
};

/** The text around the first term that it holds. */
function excerpt(text: string, terms: string[]): string {
  const lower = text.toLowerCase();
  const at = Math.max(0, ...terms.map((term) => lower.indexOf(term)));
  const from = at < 90 ? 0 : text.lastIndexOf(" ", at - 40) + 1;
  return (from > 0 ? "… " : "") + text.slice(from, from + 170) + (text.length > from + 170 ? " …" : "");
}

/** The text with the terms marked. */
function marked(text: string, terms: string[]): Node[] {
  const escaped = terms.map((term) => term.replace(/[.*+?^${}()|[\]\\]/g, "\\$&"));
  return text.split(new RegExp(`(${escaped.join("|")})`, "i")).map((part, i) => {
    if (i % 2 === 0) return document.createTextNode(part);
    const mark = document.createElement("mark");
    mark.textContent = part;
    return mark;
  });
}

function element(name: string, className: string, ...content: (Node | string)[]): HTMLElement {
  const made = document.createElement(name);
  if (className) made.className = className;
  made.append(...content);
  return made;
}

function option(candidate: Candidate, index: number, terms: string[]): HTMLElement {
  const [kind, name, number, text] = candidate.entry;
  const link = document.createElement("a");
  link.href = addressOf(candidate);
  link.tabIndex = -1;
  link.setAttribute("role", "option");
  link.id = `search-result-${index}`;
  const about = kind === "file" || kind === "guide" ? kind : `${kind} in ${candidate.page.title}`;
  link.append(
    element(
      "span",
      "result-name",
      element("span", "", ...marked(name, terms)),
      ...(number === null ? [] : [element("b", "", ...marked(String(number), terms))]),
      element("i", "", about),
    ),
    element("span", "result-text", ...marked(excerpt(text, terms), terms)),
  );
  return link;
}

function show() {
  const terms = input.value.toLowerCase().split(/\s+/).filter(Boolean);
  const found = search(candidates, input.value, limit);
  list.replaceChildren(...found.map((candidate, i) => option(candidate, i, terms)));
  list.scrollTop = 0;
  activate(found.length > 0 ? 0 : -1);
  input.setAttribute("aria-expanded", String(found.length > 0));
  const nothing = terms.length > 0 && found.length === 0 && candidates.length > 0;
  status.classList.toggle("sr-only", !nothing);
  if (nothing) status.textContent = `Nothing has “${input.value.trim()}” in its name, number or comment.`;
  else if (found.length === limit) status.textContent = `The best ${limit} results`;
  else status.textContent = found.length > 0 ? `${found.length} result${found.length > 1 ? "s" : ""}` : "";
}

function activate(index: number) {
  list.children[active]?.setAttribute("aria-selected", "false");
  active = index;
  const item = list.children[active];
  if (!item) {
    input.removeAttribute("aria-activedescendant");
    return;
  }
  item.setAttribute("aria-selected", "true");
  item.scrollIntoView({ block: "nearest" });
  input.setAttribute("aria-activedescendant", item.id);
}

input.addEventListener("input", show);
input.addEventListener("keydown", (event) => {
  const step = { ArrowDown: 1, ArrowUp: -1, PageDown: 8, PageUp: -8 }[event.key];
  if (step) {
    event.preventDefault();
    activate(Math.max(0, Math.min(list.children.length - 1, active + step)));
  } else if (event.key === "Enter") {
    event.preventDefault();
    (list.children[active] as HTMLElement | undefined)?.click();
  }
});
list.addEventListener("click", (event) => {
  if ((event.target as Element).closest("a")) dialog.close();
});
dialog.addEventListener("click", (event) => {
  if (event.target === dialog) dialog.close();
});
opener.addEventListener("click", open);
opener.disabled = false;
document.addEventListener("keydown", (event) => {
  const typing = (event.target as Element).closest("input, textarea, select, [contenteditable]");
  const slash = event.key === "/" && !typing && !event.ctrlKey && !event.metaKey && !event.altKey;
  const control = event.key.toLowerCase() === "k" && (event.ctrlKey || event.metaKey);
  if (!slash && !control) return;
  event.preventDefault();
  open();
});
const asked = new URLSearchParams(location.search).get("q");
if (asked) {
  input.value = asked;
  open();
}
