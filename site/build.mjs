// Builds the site.
//
//   node build.mjs --descriptor-set FILE --pairings FILE --samples FILE --output FOLDER
//
// "make site" and the CMake target "site" call it; samples.mjs makes the samples.

import { build as bundle } from "esbuild";
import { copyFileSync, readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { dirname, join, relative, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";

const { values: options } = parseArgs({
  options: {
    "descriptor-set": { type: "string" },
    pairings: { type: "string" },
    samples: { type: "string" },
    output: { type: "string" },
  },
});
for (const [name, value] of Object.entries(options)) options[name] = resolve(value);
const output = options.output;
const site = dirname(fileURLToPath(import.meta.url));

process.env.CMNSYS_SITE_DESCRIPTOR_SET = options["descriptor-set"];
process.env.CMNSYS_SITE_PAIRINGS = options.pairings;
process.env.CMNSYS_SITE_SAMPLES = options.samples;
process.env.CMNSYS_SITE_OUTPUT = output;
process.env.CMNSYS_SITE_CACHE = `${output}.cache`;
process.env.CMNSYS_SITE_SOURCE = dirname(site);
process.env.ASTRO_TELEMETRY_DISABLED = "1";

rmSync(output, { recursive: true, force: true });
rmSync(process.env.CMNSYS_SITE_CACHE, { recursive: true, force: true });
const { build } = await import("astro");
await build({ root: site, logLevel: "warn" });

for (const name of readdirSync(join(process.env.CMNSYS_SITE_SOURCE, "docs"))) {
  if (!/\.(svg|png)$/.test(name)) continue;
  copyFileSync(join(process.env.CMNSYS_SITE_SOURCE, "docs", name), join(output, "guides", name));
}

// What the content layer leaves behind.
for (const name of ["collections", "content-assets.mjs", "content-modules.mjs"]) {
  rmSync(join(output, name), { recursive: true, force: true });
}

// Modules do not load from a plain folder, so every script becomes a classic one: ours, and those
// of Starlight that it does not write into the page.
const classic = { bundle: true, minify: true, format: "iife", target: "es2020", logLevel: "warning" };
await bundle({
  ...classic,
  entryPoints: ["search", "decoder"].map((name) => join(site, `src/browser/${name}.ts`)),
  outdir: join(output, "scripts"),
});
const assets = join(output, "_astro");
const modules = readdirSync(assets).filter((name) => name.endsWith(".js"));
await bundle({
  ...classic,
  stdin: { contents: modules.map((name) => `import "./${name}";`).join(""), resolveDir: assets },
  outfile: join(output, "scripts/page.js"),
});
for (const name of modules) rmSync(join(assets, name));

const dataModule = join(site, "node_modules/.cmnsys_browser_data.mjs");
await bundle({
  entryPoints: [join(site, "src/schema/browser_data.ts")],
  bundle: true,
  outfile: dataModule,
  platform: "node",
  format: "esm",
  packages: "external",
  logLevel: "warning",
});
const { writeBrowserData } = await import(dataModule);
rmSync(dataModule);
writeBrowserData(output);

// Addresses relative to the page, so that the site works wherever it lies.
for (const path of readdirSync(output, { recursive: true })) {
  if (!path.endsWith(".html")) continue;
  const file = join(output, path);
  const up = relative(dirname(file), output) || ".";
  let scripts = 0;
  const html = readFileSync(file, "utf8")
    .replace(/<script type="module" src="[^"]*"><\/script>/g, () =>
      scripts++ === 0 ? '<script defer src="/scripts/page.js"></script>' : "",
    )
    .replace(
      /(\s(?:href|src)=")\/(?!\/)([^"#]*)/g,
      (_, before, target) => `${before}${up}/${target || "index.html"}`,
    );
  writeFileSync(file, html);
}
