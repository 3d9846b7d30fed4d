// A drawing of characters, as the schema's page has it, turned into SVG whose names are links.
// Lines are made of - | and +, heads of arrows of < > ^ v; all else is text.

import { escape, fileHref, href, resolveAnywhere } from "./links.ts";
import { files, shortFileName } from "./schema.ts";

const cell = { width: 7.85, height: 18 };

export function picture(text: string): string {
  const rows = text.replace(/\n+$/, "").split("\n");
  const indent = Math.min(...rows.filter((row) => row.trim()).map((row) => row.search(/\S/)));
  const grid = rows.map((row) => row.slice(indent));
  const columns = Math.max(...grid.map((row) => row.length));
  const at = (r: number, c: number) => grid[r]?.[c] ?? " ";
  const x = (c: number) => round((c + 0.5) * cell.width);
  const y = (r: number) => round((r + 0.5) * cell.height);

  const horizontal = (ch: string) => "-+<>".includes(ch);
  const vertical = (ch: string) => "|+^v".includes(ch);
  const isLetter = (r: number, c: number) => /[\w,.:=]/.test(at(r, c));
  const isHead = (r: number, c: number) => {
    switch (at(r, c)) {
      case "v":
        return !isLetter(r, c - 1) && !isLetter(r, c + 1) && vertical(at(r - 1, c));
      case "^":
        return vertical(at(r + 1, c));
      case ">":
        return at(r, c - 1) === "-";
      case "<":
        return at(r, c + 1) === "-";
      default:
        return false;
    }
  };
  const isLine = (r: number, c: number) => {
    const ch = at(r, c);
    if (ch === "+") return true;
    if (ch === "|") return true;
    if (ch === "-") return horizontal(at(r, c - 1)) || horizontal(at(r, c + 1));
    return isHead(r, c);
  };

  const boxes: string[] = [];
  const lines: string[] = [];
  const heads: string[] = [];
  const texts: string[] = [];

  for (let r = 0; r < grid.length; r++) {
    for (let c = 0; c < columns; c++) {
      const box = boxAt(r, c);
      if (box) {
        boxes.push(
          `<rect x="${x(c)}" y="${y(r)}" width="${round(x(box.c) - x(c))}" height="${round(y(box.r) - y(r))}" rx="6"/>`,
        );
      }
      // Each line is drawn once, from where it begins.
      if (isLine(r, c) && horizontal(at(r, c)) && !(isLine(r, c - 1) && horizontal(at(r, c - 1)))) {
        let end = c;
        while (isLine(r, end + 1) && horizontal(at(r, end + 1))) end++;
        if (end > c) lines.push(`M${x(c)} ${y(r)}H${x(end)}`);
      }
      if (isLine(r, c) && vertical(at(r, c)) && !(isLine(r - 1, c) && vertical(at(r - 1, c)))) {
        let end = r;
        while (isLine(end + 1, c) && vertical(at(end + 1, c))) end++;
        if (end > r) lines.push(`M${x(c)} ${y(r)}V${y(end)}`);
        else if (at(r, c) === "|") lines.push(`M${x(c)} ${y(r) - cell.height / 2}v${cell.height}`);
      }
      if (isHead(r, c)) heads.push(head(at(r, c), x(c), y(r)));
    }
    let run = "";
    for (let c = 0; c <= columns; c++) {
      const ch = isLine(r, c) ? " " : at(r, c);
      if (run && ch === " " && at(r, c + 1) === " " || (run && c === columns) || (run && isLine(r, c))) {
        texts.push(label(run.trimEnd(), x(c - run.length) - cell.width / 2, y(r)));
        run = "";
      } else if (run || ch !== " ") {
        run += ch;
      }
    }
  }

  function boxAt(r: number, c: number): { r: number; c: number } | undefined {
    if (at(r, c) !== "+") return undefined;
    for (let right = c + 1; "-+".includes(at(r, right)); right++) {
      if (at(r, right) !== "+" || !"|+".includes(at(r + 1, right))) continue;
      for (let bottom = r + 1; "|+".includes(at(bottom, c)) && "|+".includes(at(bottom, right)); bottom++) {
        const edge = grid[bottom].slice(c, right + 1);
        if (at(bottom, c) === "+" && /^[-+]+$/.test(edge)) return { r: bottom, c: right };
      }
    }
    return undefined;
  }

  const width = round(columns * cell.width);
  const height = grid.length * cell.height;
  return (
    `<svg class="picture" viewBox="0 0 ${width} ${height}" width="${width}" height="${height}" role="group" aria-label="How the main messages refer to each other">` +
    `<g class="boxes">${boxes.join("")}</g><path class="lines" d="${lines.join("")}"/>` +
    `<g class="heads">${heads.join("")}</g><g class="labels">${texts.join("")}</g></svg>`
  );
}

const round = (n: number) => Math.round(n * 10) / 10;

function head(ch: string, x: number, y: number): string {
  const turn = { ">": 0, v: 90, "<": 180, "^": 270 }[ch];
  return `<path d="M-5-4.5 5 0-5 4.5Z" transform="translate(${x} ${y}) rotate(${turn})"/>`;
}

function label(text: string, x: number, y: number): string {
  const html = text.replace(/[A-Za-z_]{3,}|[^A-Za-z_]+/g, (word) => {
    if (!/^[A-Z]/.test(word)) return escape(word);
    const element = resolveAnywhere(word) ?? resolveAnywhere(`NOTIFICATION_${word}`);
    const file = files.find((file) => shortFileName(file) === `${word}s`);
    const target = element ? href(element) : file && fileHref(file);
    return target ? `<a href="${target}">${word}</a>` : escape(word);
  });
  return `<text x="${round(x)}" y="${y}" xml:space="preserve">${html}</text>`;
}
