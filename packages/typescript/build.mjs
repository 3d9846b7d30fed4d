// Builds the npm package and packs it.
//
//   node build.mjs --protoc PROTOC --pairings FILE --version VERSION --output FOLDER
//     [--include FOLDER]... FILE...
//
// FOLDER/package becomes the package, FOLDER/cmnsysprotobuf-VERSION.tgz the packed one.

import { execFileSync, spawnSync } from "node:child_process";
import { copyFileSync, mkdirSync, readdirSync, readFileSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";

const { values: options, positionals: files } = parseArgs({
  allowPositionals: true,
  options: {
    protoc: { type: "string" },
    pairings: { type: "string" },
    version: { type: "string" },
    output: { type: "string" },
    include: { type: "string", multiple: true, default: [] },
  },
});
const here = dirname(fileURLToPath(import.meta.url));
const output = resolve(options.output);
const folder = join(output, "package");
rmSync(folder, { recursive: true, force: true });
for (const name of readdirSync(output)) if (name.endsWith(".tgz")) rmSync(join(output, name));
mkdirSync(folder, { recursive: true });

const { dependencies } = JSON.parse(readFileSync(join(here, "package.json"), "utf8"));
writeFileSync(
  join(folder, "package.json"),
  `${JSON.stringify(
    {
      name: "cmnsysprotobuf",
      version: options.version,
      description: "Common message schema of a networked video-surveillance management system",
      type: "module",
      sideEffects: false,
      exports: {
        ".": "./index.js",
        "./delimited.js": "./delimited.js",
        "./ProtoBuf/*": "./ProtoBuf/*",
      },
      dependencies: { "@bufbuild/protobuf": `^${dependencies["@bufbuild/protobuf"]}` },
    },
    null,
    2,
  )}\n`,
);
const generated = spawnSync(
  options.protoc,
  [
    `--plugin=protoc-gen-es=${join(here, "node_modules/.bin/protoc-gen-es")}`,
    `--es_out=${folder}`,
    "--es_opt=target=js+dts,import_extension=js",
    ...options.include.map((path) => `-I${path}`),
    ...files,
  ],
  { encoding: "utf8" },
);
// protoc warns of imports that the schema keeps on purpose: its messages are shown if it fails.
if (generated.status !== 0) {
  console.error(generated.error?.message ?? generated.stderr);
  process.exit(1);
}

const modules = readdirSync(join(folder, "ProtoBuf"), { recursive: true })
  .filter((path) => path.endsWith("_pb.js"))
  .sort()
  .map((path) => `./ProtoBuf/${path}`);
const fileNames = modules.map(
  (path) => /^export const (file_\w+)/m.exec(readFileSync(join(folder, path), "utf8"))[1],
);
writeFileSync(
  join(folder, "registry.ts"),
  `import { createRegistry, type Registry } from "@bufbuild/protobuf";
${modules.map((path, i) => `import { ${fileNames[i]} } from "${path}";`).join("\n")}

/** All messages, enums, extensions and services of the schema; JSON of extensions needs it. */
export const registry: Registry = createRegistry(
${fileNames.map((name) => `  ${name},`).join("\n")}
);
`,
);

const pairings = JSON.parse(readFileSync(options.pairings, "utf8"));
if (pairings.version !== 1) throw new Error(`${options.pairings} has version ${pairings.version}, not 1.`);
writeFileSync(
  join(folder, "pairing_records.js"),
  `export const records = ${JSON.stringify(pairings.records)};\n`,
);

for (const name of readdirSync(join(here, "src"))) copyFileSync(join(here, "src", name), join(folder, name));
const sources = readdirSync(folder).filter((name) => /(?<!\.d)\.ts$/.test(name));
// Where tsc finds what the package depends on.
rmSync(join(output, "node_modules"), { force: true });
symlinkSync(join(here, "node_modules"), join(output, "node_modules"));
execFileSync(
  process.execPath,
  [
    join(here, "node_modules/typescript/bin/tsc"),
    "--strict",
    "--declaration",
    "--target",
    "es2022",
    "--module",
    "nodenext",
    "--skipLibCheck",
    ...sources,
  ],
  { cwd: folder, stdio: "inherit" },
);
for (const name of sources) rmSync(join(folder, name));

copyFileSync(join(here, "README.md"), join(folder, "README.md"));
execFileSync("npm", ["pack", "--silent", "--pack-destination", output], {
  cwd: folder,
  stdio: ["ignore", "ignore", "inherit"],
});
