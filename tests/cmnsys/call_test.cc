// cmnsys call: what it says when a call cannot be made, and that no answer is lost.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "client_fixture.h"
#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

TEST(Call, SaysWhyACallCannotBeMade) {
  const Listener silent;
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string text;
  } cases[] = {
      {{"Query", "--target", "localhost:1", "--plaintext"}, 2, "write SERVICE/METHOD"},
      {{"Qery/Abort", "--target", "localhost:1", "--plaintext"}, 2, "Pb.Rpc.SvcQuery.Query"},
      {{"Query/Stop", "--target", "localhost:1", "--plaintext"}, 2, "it has:\n  Initiate"},
      {{"Query/Abort", "--target", "localhost:1"}, 2, "--ca, or --plaintext"},
      {{"Query/Abort", "--target", "localhost", "--plaintext"}, 2, "\"localhost\" is no address"},
      {{"Query/Abort", "--target", "localhost:1", "--ca", "/none.pem"},
       2,
       "cannot read the file of authorities /none.pem"},
      {{"Query/Abort", "--target", "localhost:1", "--plaintext", "--metadata", "A=b"},
       2,
       "metadata name \"A\""},
      {{"Query/Abort", "--target", "127.0.0.1:1", "--plaintext"},
       3,
       "Pb.Rpc.SvcQuery.Query.Abort failed with UNAVAILABLE: cannot reach 127.0.0.1:1"},
      {{"Query/Abort", "--target", silent.address(), "--plaintext", "--timeout", "0.3"},
       3,
       "DEADLINE_EXCEEDED"},
      {{"Query/Abort", "--plaintext"}, 2, "--target is required"},
      {{"Query/Abort", "--target", "localhost:1", "--cert", "x"}, 2, "--key"},
      {{"Query/Abort", "--target", "localhost:1", "--plaintext", "--server-name", "x"},
       2,
       "--server-name"},
  };
  for (const auto& test : cases) {
    std::vector<std::string> arguments = {"call"};
    arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
    const ProcessResult result = Cmnsys(arguments);
    EXPECT_TRUE(RefusedWith(result, test.text, test.status));
  }
  EXPECT_TRUE(RefusedWith(Cmnsys({"subscribe", "A.B/C", "--target", silent.address(), "--plaintext",
                                  "--timeout", "0.3"}),
                          "no connection to " + silent.address(), 3));
}

TEST(Call, ShowsWhatTheServerSentOrDoesNotAskForIt) {
  std::atomic<int> calls{0};
  LoopbackServer server([&calls](Rpc::ServerController* controller, const InitiateReq& request,
                                 InitiateRsp* response, Closure* done) {
    ++calls;
    Pb::CmnSys::Gid* gid = response->mutable_query_result()->mutable_gid();
    gid->CopyFrom(request.query().gid());
    // A field that the type of the answer does not know.
    gid->GetReflection()->MutableUnknownFields(gid)->AddVarint(999, 7);
    if (gid->id() == "late") {
      controller->NotifyOnCancel(done);
    } else {
      done->Run();
    }
  });
  const TemporaryFolder folder;
  const std::string request = folder.Write("request.txt", "query { gid { id: 'seven' } }");
  const std::vector<std::string> call = {"call",           "Query/Initiate", "--target",
                                         server.address(), "--plaintext",    request};
  const auto with = [&call](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = call;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  };

  EXPECT_TRUE(RefusedWith(Cmnsys(with({"-o", folder.PathOf("none/out")})), "cannot write"));
  std::string at_a_terminal = CMNSYS_TOOL;
  for (const std::string& argument : with({"--to", "binary"})) at_a_terminal += " " + argument;
  const ProcessResult refused =
      CmnSys::Test::Run({"env", "TERM=xterm", "script", "-qec", at_a_terminal, "/dev/null"});
  EXPECT_EQ(refused.status, 2) << refused.output;
  EXPECT_NE(refused.output.find("terminal"), std::string::npos) << refused.output;
  EXPECT_EQ(calls, 0);

  EXPECT_TRUE(RefusedWith(Cmnsys({"call", "Query/Initiate", "--target", server.address(),
                                  "--plaintext", "--from", "text", "--timeout", "2"},
                                 "query { gid { id: 'late' } }"),
                          "was not answered in time", 5));

  const ProcessResult as_json = Cmnsys(call);
  EXPECT_EQ(as_json.status, 0);
  EXPECT_NE(as_json.output.find("\"gid\""), std::string::npos) << as_json.output;
  EXPECT_NE(as_json.errors.find("warning: the message, in query_result.gid: "), std::string::npos)
      << as_json.errors;
  const ProcessResult as_text = Cmnsys(with({"--to", "text"}));
  EXPECT_EQ(as_text.status, 0);
  EXPECT_NE(as_text.output.find("id: \"seven\""), std::string::npos) << as_text.output;
  EXPECT_NE(as_text.output.find("999: 7"), std::string::npos) << as_text.output;
  EXPECT_EQ(calls, 3);
}

}  // namespace
}  // namespace CmnSys::Test
