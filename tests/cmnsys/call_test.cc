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
      {{"Query", "--target", "localhost:1", "--plaintext"}, 1, "write SERVICE/METHOD"},
      {{"Qery/Abort", "--target", "localhost:1", "--plaintext"}, 1, "Pb.Rpc.SvcQuery.Query"},
      {{"Query/Stop", "--target", "localhost:1", "--plaintext"}, 1, "it has:\n  Initiate"},
      {{"Query/Abort", "--target", "localhost:1"}, 1, "--ca, or --plaintext"},
      {{"Query/Abort", "--target", "localhost", "--plaintext"}, 1, "\"localhost\" is no address"},
      {{"Query/Abort", "--target", "localhost:1", "--ca", "/none.pem"},
       1,
       "cannot read the file of authorities /none.pem"},
      {{"Query/Abort", "--target", "localhost:1", "--plaintext", "--metadata", "A=b"},
       1,
       "metadata name \"A\""},
      {{"Query/Abort", "--target", "127.0.0.1:1", "--plaintext"},
       1,
       "Pb.Rpc.SvcQuery.Query.Abort failed with UNAVAILABLE: cannot reach 127.0.0.1:1"},
      {{"Query/Abort", "--plaintext"}, 2, "--target is required"},
      {{"Query/Abort", "--target", "localhost:1", "--cert", "x"}, 2, "--key"},
  };
  for (const auto& test : cases) {
    std::vector<std::string> arguments = {"call"};
    arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
    const ProcessResult result = Cmnsys(arguments);
    if (test.status == 1) {
      EXPECT_TRUE(RefusedWith(result, test.text));
    } else {
      EXPECT_EQ(result.status, test.status) << test.text;
      EXPECT_NE(result.errors.find(test.text), std::string::npos) << result.errors;
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
