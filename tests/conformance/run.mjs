// Runs protobuf's conformance suite, as packaged for npm, on our testee.
//
//   run.mjs PACKAGE TESTEE NEWER_LIBC PROTO_FOLDER FAILURES
//
// The suite's program is built against glibc 2.38, of which it needs four functions that older ones
// have under other names. Where the loader refuses it for that, a copy of it runs whose demands for
// a version are marked as weak, with the library NEWER_LIBC loaded first. Where it does not run even
// then, the test is skipped, with status 77.
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const [packageFolder, testee, newerLibc, protoFolder, failures] = process.argv.slice(2);
const runner = path.join(packageFolder, 'bin', `conformance_test_runner-linux-${process.arch}`);

function skip(reason) {
  console.log(`skipped: ${reason}`);
  process.exit(77);
}

// Marks as weak what an ELF file demands of the versions of its libraries: section .gnu.version_r
// (type SHT_GNU_verneed), flag VER_FLG_WEAK.
function withWeakVersions(file) {
  const elf = fs.readFileSync(file);
  const u16 = (at) => elf.readUInt16LE(at);
  const u32 = (at) => elf.readUInt32LE(at);
  const u64 = (at) => Number(elf.readBigUInt64LE(at));
  for (let i = 0; i < u16(0x3c); ++i) {
    const section = u64(0x28) + i * u16(0x3a);
    if (u32(section + 4) !== 0x6ffffffe) continue;
    for (let need = u64(section + 24); ; need += u32(need + 12)) {
      let version = need + u32(need + 8);
      for (let left = u16(need + 2); left > 0; --left) {
        elf.writeUInt16LE(u16(version + 4) | 2, version + 4);
        version += u32(version + 12);
      }
      if (u32(need + 12) === 0) break;
    }
  }
  return elf;
}

if (!fs.existsSync(runner)) skip(`the suite is not packaged for linux-${process.arch}`);
let command = runner;
const env = {
  ...process.env,
  CMNSYS_CONFORMANCE_PROTOS: `${path.join(packageFolder, 'include')}:${protoFolder}`,
};
// It knows no such option, and says which it has.
const starts = () => spawnSync(command, ['--help'], { env, encoding: 'utf8' }).stderr;
if (!starts().includes('Usage:')) {
  command = path.resolve('conformance_test_runner');
  fs.writeFileSync(command, withWeakVersions(runner), { mode: 0o755 });
  env.LD_PRELOAD = newerLibc;
  if (!starts().includes('Usage:')) skip(`the suite does not start: ${starts().trim()}`);
}
const run = spawnSync(command, ['--enforce_recommended', '--failure_list', failures, testee], {
  env,
  stdio: 'inherit',
});
process.exit(run.status ?? 1);
