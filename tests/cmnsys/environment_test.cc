// What the commands do when the system denies them something: a sentence, the status of a command
// that could not do its work, and nothing left behind.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // Sanitizers need terabytes of addresses, and descriptors.
#else
constexpr bool kSanitized = false;
#endif

#ifdef CMNSYS_RPC
constexpr const char* kServer = "SERVER=" CMNSYS_REMOTE_SERVER;
#else
constexpr const char* kServer = "SERVER=";
#endif

struct Case {
  const char* name;
  // For bash, in a folder with a stream of 400,000 messages, `in`. The function `limited SIZE`
  // mounts an empty file system at `fs`, `convert OPTIONS` reads the stream, `serve` starts a
  // server at $address, as job 1.
  const char* commands;
  const char* error;
  int status = 2;
};

void PrintTo(const Case& tested, std::ostream* out) { *out << tested.name; }

class Environment : public testing::TestWithParam<Case> {};

TEST_P(Environment, IsTold) {
  const std::string commands = GetParam().commands;
  const bool own_mounts = commands.find("limited") != std::string::npos;
  if (own_mounts && CmnSys::Test::Run({"unshare", "-rm", "true"}).status != 0) {
    GTEST_SKIP() << "needs to mount file systems in a namespace of its own";
  }
  if (kSanitized && (commands.find("ulimit -v") != std::string::npos ||
                     commands.find("ulimit -n") != std::string::npos)) {
    GTEST_SKIP() << "sanitizers take more addresses and descriptors than any limit leaves";
  }
  const TemporaryFolder folder;
  std::string stream;
  for (int i = 0; i < 400'000; ++i) stream += "\x06\x0a\x04name";
  folder.Write("in", stream);
  folder.Write("script",
               "set -m\n"
               "limited() { mkdir fs; mount -t tmpfs -o size=$1 none fs; }\n"
               "convert() { exec $CMNSYS convert Gid in --from delimited \"$@\"; }\n"
               "serve() { mkfifo pipe; $SERVER it 127.0.0.1:0 '' > pipe & read address < pipe; rm "
               "pipe; }\n" +
                   commands);
  std::vector<std::string> run = {"env",   "CMNSYS=" CMNSYS_TOOL,
                                  kServer, "bash",
                                  "-c",    "cd " + folder.path() + " && . ./script"};
  if (own_mounts) run.insert(run.begin(), {"unshare", "-rm"});
  const ProcessResult result = CmnSys::Test::Run(run);
  EXPECT_EQ(result.status, GetParam().status) << result.errors;
  EXPECT_NE(result.errors.find(GetParam().error), std::string::npos) << result.errors;
  for (const std::string& name : folder.Names()) {
    EXPECT_TRUE(name == "in" || name == "script" || name == "fs" || name == "pipe") << name;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Each, Environment,
    testing::ValuesIn(std::vector<Case>{
#ifdef CMNSYS_RPC
        {"DescriptorLimitOfACall", "ulimit -n 10; $CMNSYS health --target 127.0.0.1:1 --plaintext",
         "gRPC needs file descriptors: Too many open files\n"},
        {"ThreadLimitOfACall",
         "ulimit -v 3000000; ulimit -s 4000000; $CMNSYS health --target 127.0.0.1:1 --plaintext",
         "gRPC needs threads: Resource temporarily unavailable\n"},
        {"TerminationOfACall",
         "serve; echo 'query { gid { id: \"hang\" } }' | $CMNSYS call Query/Initiate --from text "
         "--target $address --plaintext -o out & printf -v port ' 0100007F:%04X 0100007F:.... 01 ' "
         "${address#*:}; until grep -q \"$port\" /proc/net/tcp || ! kill -0 $!; do sleep 0.1; "
         "done; kill -TERM $!; wait $!; status=$?; kill %1; exit $status",
         "", 128 + 15},
        {"TerminationOfASubscription",
         "serve; mkfifo pipe; $CMNSYS subscribe Test.Ticks/Subscribe --to jsonl --target $address "
         "--plaintext > "
         "pipe & exec 3< pipe; read -u 3 -r line; kill -TERM $!; ! grep -v '}$' <&3; whole=$?; "
         "wait $!; "
         "status=$?; kill %1; [ $whole = 0 ] && exit $status",
         "", 0},
#endif
        {"FullDisk",
         "limited 256k; (convert --to delimited -o fs/out); status=$?; ls -A fs >&2; exit $status",
         "cannot write fs/out: No space left on device\n"},
        {"ReadOnlyFolder",
         "limited 9m; mount -o remount,bind,ro fs; (convert --to delimited -o fs/out); status=$?; "
         "ls -A "
         "fs >&2; exit "
         "$status",
         "cannot write fs/out: Read-only file system\n"},
        {"FileSizeLimit", "ulimit -f 100; convert --to text -o out",
         "cannot write out: File too large\n"},
        {"FullDevice",
         "for command in list --help 'describe Gid' 'sample Gid' 'size Gid in --from "
         "delimited'; do $CMNSYS $command > /dev/full; [ $? = 2 ] || exit 9; done; exit 2",
         "cannot write standard output: No space left on device\n"},
        {"ClosedOutput",
         "for command in list --help 'describe Gid' 'sample Gid' 'size Gid in --from "
         "delimited'; do $CMNSYS $command >&-; [ $? = 2 ] || exit 9; done; exit 2",
         "cannot write standard output: "},
        {"ReaderThatGoesAway", "convert --to jsonl > >(head -c 10)",
         "cannot write standard output: Broken pipe\n"},
        {"ClosedInput", "$CMNSYS decode Gid <&-", "cannot read standard input: Bad file"},
        {"MemoryLimit",
         "truncate -s 1G big; ulimit -v 400000; $CMNSYS decode Gid big --max-bytes 2000000000; "
         "status=$?; rm big; exit $status",
         "out of memory; --max-bytes limits"},
        {"DescriptorLimit", "ulimit -n 4; convert -o out", "cannot write out: Too many open files"},
        {"OutputBehindTheInput", "convert --to delimited >> in",
         "in is standard output as well; write to another file\n"},
        {"FileThatCannotBeReplaced",
         "limited 9m; touch fs/from fs/to; mount --bind fs/from fs/to; convert --to text -o fs/to",
         "cannot write fs/to: Device or resource busy; it cannot be replaced there"},
        {"FileThatShrinks",
         "mkfifo pipe; (convert --to jsonl -o pipe) & exec 3< pipe; head -c 1 <&3 > /dev/null; "
         "truncate -s 1 in; cat <&3 > /dev/null; wait $!",
         "the stream ends"},
        {"Interrupt",
         "mkfifo pipe; $CMNSYS convert Gid pipe --from delimited --to jsonl -o out & exec 3> pipe; "
         "head -c 1400000 in >&3; kill -INT $!; wait $!",
         "", 128 + 2},
        {"Termination",
         "mkfifo pipe; $CMNSYS convert Gid pipe --from delimited --to text -o out & exec 3> pipe; "
         "head -c 1400000 in >&3; kill -TERM $!; wait $!",
         "", 128 + 15},
    }),
    [](const testing::TestParamInfo<Case>& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace CmnSys::Test
