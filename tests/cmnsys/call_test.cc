// cmnsys call: what it says when a call cannot be made.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

TEST(Call, SaysWhyACallCannotBeMade) {
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
}

}  // namespace
}  // namespace CmnSys::Test
