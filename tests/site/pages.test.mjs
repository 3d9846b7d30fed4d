// The files of the site, without a browser.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join, normalize } from "node:path";
import { test } from "node:test";
import { gzipSync } from "node:zlib";
import { cmnsys, folder, pages } from "./site.mjs";

const decode = (html) =>
  html.replace(/&(lt|gt|quot|amp|#39|#34|#38);/g, (entity) =>
    ({ "&lt;": "<", "&gt;": ">", "&quot;": '"', "&#34;": '"', "&amp;": "&", "&#38;": "&", "&#39;": "'" })[entity],
  );

const idsOf = (html) => new Set([...html.matchAll(/\sid="([^"]+)"/g)].map(([, id]) => decode(id)));
const ids = new Map(pages.map(({ path, html }) => [path, idsOf(html)]));

test("every link leads to a file and an anchor that are there", () => {
  const dead = [];
  for (const { path, html } of pages) {
    for (const [, target] of html.matchAll(/\s(?:href|src)="([^"]*)"/g)) {
      if (/^(https?|mailto):/.test(target)) continue;
      const [file, fragment] = decode(target).split("#");
      const to = file ? normalize(join(dirname(path), file)) : path;
      const there = !file.startsWith("/") && existsSync(join(folder, to));
      // What follows the decoder's # is a message.
      const anchored = !fragment || to === "decoder.html" || ids.get(to)?.has(fragment);
      if (!there || !anchored) dead.push(`${path}: ${target}`);
    }
  }
  assert.deepEqual(dead, []);
});

test("whatever has a name in the schema has an anchor", () => {
  const anchors = new Set();
  for (const { path, html } of pages) {
    const name = /package <code>([^<]+)</.exec(html)?.[1];
    if (!name) continue;
    for (const id of ids.get(path)) {
      anchors.add(`${name}.${id}`);
      // To protobuf an enum's value is a sibling of the enum.
      anchors.add(`${name}.${id.replace(/[^.]+\.([^.]+)$/, "$1")}`);
    }
  }
  const names = execFileSync(cmnsys, ["list", "--kind", "all"], { encoding: "utf8" })
    .split("\n")
    .map((line) => /\bPb\.[\w.]+/.exec(line)?.[0])
    .filter(Boolean);
  assert.ok(names.length > 4000, `cmnsys lists ${names.length} names`);
  assert.deepEqual(names.filter((name) => !anchors.has(name)), []);
});

test("the C++ of the examples builds the bytes that are shown with it", { timeout: 1_800_000 }, () => {
  const includes = new Set();
  const blocks = [];
  const shown = [];
  for (const { html } of pages) {
    for (const [, bytes, code] of html.matchAll(
      /<h4>\s*Bytes.*?<\/h4>\s*<pre[^>]*>([^<]*)<\/pre>\s*<h4>C\+\+<\/h4>\s*<pre[^>]*>([^<]*)<\/pre>/gs,
    )) {
      const lines = decode(code).split("\n");
      lines.filter((line) => line.startsWith("#include")).forEach((line) => includes.add(line));
      const body = lines.filter((line) => !line.startsWith("#include")).join("\n");
      const variable = /^\S+ (\w+);$/m.exec(body)[1];
      blocks.push(`{\n${body}\nPrint(${variable});\n}`);
      shown.push(bytes.replace(/\s/g, ""));
    }
  }
  assert.ok(blocks.length > 30, `${blocks.length} examples in C++`);
  const work = mkdtempSync(join(tmpdir(), "cmnsys-site-"));
  try {
    const source = join(work, "examples.cc");
    writeFileSync(
      source,
      `#include <cstdio>\n#include <limits>\n#include <string>\n${[...includes].join("\n")}
void Print(const google::protobuf::MessageLite& message) {
  for (unsigned char c : message.SerializeAsString()) std::printf("%02x", c);
  std::printf("\\n");
}
int main() {\n${blocks.join("\n")}\n}\n`,
    );
    const program = join(work, "examples");
    execFileSync(process.env.CMNSYS_CXX, [
      "-std=c++17", "-Wall", "-Werror", source, "-o", program, ...readFileSync("flags.txt", "utf8").split(";"),
    ]);
    const built = execFileSync(program, { encoding: "utf8" }).trimEnd().split("\n");
    assert.deepEqual(built, shown);
  } finally {
    rmSync(work, { recursive: true });
  }
});

test("the first page is light", () => {
  const { html } = pages.find(({ path }) => path === "index.html");
  const parts = [...html.matchAll(/<(?:script|link)[^>]*\s(?:href|src)="([^"]+)"/g)].map(([, target]) =>
    readFileSync(join(folder, target)),
  );
  const size = [Buffer.from(html), ...parts].reduce((sum, part) => sum + gzipSync(part).length, 0);
  assert.ok(size <= 300_000, `${size} bytes compressed`);
});
