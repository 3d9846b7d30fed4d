// Long streams on several threads: what is written, told and returned is what one thread writes,
// tells and returns.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

std::string Delimited(const std::string& bytes) {
  std::string record;
  std::size_t left = bytes.size();
  for (; left >= 0x80; left >>= 7) record += static_cast<char>(left | 0x80);
  return record + static_cast<char>(left) + bytes;
}

std::string Event(const std::string& text) { return Cmnsys({"encode", "Event"}, text).output; }

// Valid events, some 90 bytes each.
std::string Events(int count = 3000) {
  return Cmnsys({"sample", "Event", "--count", std::to_string(count), "--percent-set", "50",
                 "--max-bytes", "500", "--to", "delimited"})
      .output;
}

ProcessResult Shell(const TemporaryFolder& folder, const std::string& commands) {
  return CmnSys::Test::Run(
      {"env", "CMNSYS=" CMNSYS_TOOL, "bash", "-c", "cd " + folder.path() + "; " + commands});
}

TEST(Jobs, ChangeNothing) {
  const TemporaryFolder folder;
  const std::string events = Events();
  ASSERT_GT(events.size(), 256'000U);
  // Without its payload, which is a violation.
  const std::string event = Event("event_type: EVENT_DEVICE_MOTION_START this_id: 7");
  const std::string huge = Event("originating_server_name: '" + std::string(3 << 20, 'x') + "'");
  const std::string middles[] = {
      "",
      Delimited(huge) + Delimited(event) + Delimited(""),
      Delimited(event + "\xa2\xf3\x04\x01x"),  // A field that is not known.
      Delimited(event + "\x0a\x05"),           // Malformed.
      "\xff\xff\xff\xff\xff",                  // No length.
  };
  folder.Write("empty.delimited", "");
  folder.Write("cut.delimited", events + events + Delimited("xyz").substr(0, 2));
  std::vector<std::string> streams = {"empty.delimited", "cut.delimited"};
  for (const std::string& middle : middles) {
    streams.push_back(std::to_string(streams.size()) + ".delimited");
    folder.Write(streams.back(), events + middle + events + middle + events);
  }
  // Mostly what may mislead those who look for the ends of records only.
  const std::tuple<const char*, const char*, std::vector<std::string>> readable[] = {
      {"json",
       "",
       {"", "{\"thisId\": \"7\"} {}", R"({"originatingServerName": "\"}{\\"})", "{\"thisId\": tru}",
        R"({"originatingServerName": "\u1"})", R"({"originatingServerName": "\ud800"})",
        "{\"originatingServerName\": \"cut\n", "{\"thisId\": \"7\"\n", "\xef\xbb\xbf{}", "]",
        std::string(100'000, ' '),
        "{\"originatingServerName\": \"" + std::string(1 << 20, 'x') + "\"}"}},
      {"txt",
       "---\n",
       {"", "\n", "this_id: 7\n ---\t\r\n", "this_id: x\n", "---", "# \"\n---\n---\n"}},
  };
  for (const auto& [ending, separator, inserted] : readable) {
    const std::string text = Cmnsys({"convert", "Event", "--from", "delimited", "--to",
                                     ending == std::string("txt") ? "text" : "json"},
                                    Events(700))
                                 .output;
    for (const std::string& middle : inserted) {
      streams.push_back(std::to_string(streams.size()) + "." + ending);
      folder.Write(streams.back(), text + separator + middle + text + separator + middle + text);
    }
  }
  const char* const commands[] = {
      "convert Event --to jsonl",
      "convert Event --to json --lossy",
      "convert Event --to text --max-bytes 1000000",
      "check Event",
      "check Event --max-violations 1",
      "size Event",
      "diff Event 2.delimited",
      "filter Event --where 'has this_id' --to delimited",
      "filter Event --where 'has this_id' --to text --limit 3100",
      "filter Event --where 'this_id = 7' --to jsonl",
  };
  // Some of the pairs, in which each stream and each command occurs; fewer of sanitized programs,
  // which take long to start.
  const std::size_t step = kSanitized ? 11 : 7;
  std::size_t tried = 0;
  std::vector<int> runs(3);  // By their status.
  for (const std::string& stream : streams) {
    for (const char* const command : commands) {
      if (tried++ % step != 0) continue;
      const std::string run = "$CMNSYS " + std::string(command) + " " + stream + " --jobs ";
      const ProcessResult one = Shell(folder, run + "1");
      const ProcessResult many = Shell(folder, run + "4");
      EXPECT_EQ(one.status, many.status) << run;
      EXPECT_EQ(one.errors, many.errors) << run;
      EXPECT_TRUE(one.output == many.output) << run;
      ++runs.at(static_cast<std::size_t>(one.status));
    }
  }
  for (const int count : runs) EXPECT_GT(count, 0);
}

// In a folder with a long stream `in.delimited`.
TEST(Jobs, EndAsOneDoes) {
  const TemporaryFolder folder;
  std::string stream;
  for (int i = 0; i < 100'000; ++i) stream += "\x08\x0a\x04name\x38\x02";
  folder.Write("in.delimited", stream);
  for (const auto& [commands, status, error] : {
           std::tuple{"$CMNSYS convert Gid in.delimited --to jsonl --jobs 4 > >(head -c 10)", 2,
                      "cmnsys: cannot write standard output: Broken pipe\n"},
           // What is wrong is told while the input goes on.
           {"mkfifo pipe; exec 3<> pipe; (cat in.delimited; printf '\\2\\12\\1') >&3 & $CMNSYS "
            "check Gid pipe --from delimited --jobs 4",
            2,
            "cmnsys: pipe: record 100000, at byte 900002: in id, the length is 1 but the bytes "
            "left "
            "are 0\n"},
           {"set -m; mkfifo more; exec 3<> more; cat in.delimited >&3 & $CMNSYS convert Gid more "
            "--from "
            "delimited --to jsonl --jobs 4 -o out & until grep -q 'Threads:.[2-9]' "
            "/proc/$!/status; do sleep "
            ".01; done; kill -INT $!; wait $!; status=$?; kill %1; exit $status",
            128 + 2, ""},
       }) {
    const ProcessResult result = Shell(folder, commands);
    EXPECT_EQ(result.status, status) << commands;
    EXPECT_NE(result.errors.find(error), std::string::npos) << result.errors;
  }
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"in.delimited", "more", "pipe"}));
}

TEST(Jobs, ShowRecordsWhenTheyCome) {
  const TemporaryFolder folder;
  folder.Write("events", Events());
  folder.Write("last", Delimited(Event("originating_server_name: 'the last one'")));
  for (const std::string format : {"delimited", "json"}) {
    const ProcessResult result = Shell(
        folder,
        "for f in events last; do $CMNSYS convert Event $f --from delimited --to " + format +
            " > $f.in; done; rm -f pipe; mkfifo pipe; script -qfec \"$CMNSYS convert Event pipe "
            "--from " +
            format +
            " --jobs 4\" shown > /dev/null & exec 3> pipe; "
            "cat events.in events.in >&3; cat last.in >&3; "
            "until grep -q 'the last one' shown; do sleep .01; done; exec 3>&-; wait $!");
    EXPECT_EQ(result.status, 0) << result.errors;
  }
}

// Nobody reads what is written: the threads come to rest, and what they have read and made by then
// is far less than the stream.
TEST(Jobs, TakeBoundedMemory) {
  if (kSanitized) GTEST_SKIP() << "sanitizers take memory of their own";
  const TemporaryFolder folder;
  folder.Write("events", Events());
  const ProcessResult result = Shell(
      folder,
      "for i in {1..200}; do cat events; done > in; mkfifo pipe; exec 3<> pipe; "
      "$CMNSYS convert Event in --from delimited --to json --unset-fields --jobs 4 > pipe & "
      "head -c 20000000 <&3 > /dev/null; for ((rest = 0; rest < 50; ++rest)); do sleep .01; "
      "grep -qs 'State:.[RD]' /proc/$!/task/*/status && rest=0; done; "
      "grep Threads: /proc/$!/status; awk '/VmHWM/ {print $2 < 200000}' /proc/$!/status; kill $!");
  EXPECT_EQ(result.output, "Threads:\t6\n1\n") << result.errors;
}

}  // namespace
}  // namespace CmnSys::Test
