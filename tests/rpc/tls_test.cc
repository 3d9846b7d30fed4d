// Who can connect to whom.

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "fixture.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

template <class Options>
Options With(const Rpc::TlsFiles& files) {
  Options options;
  options.tls = files;
  return options;
}
constexpr auto ServerWith = With<Rpc::ServerOptions>;
constexpr auto ChannelWith = With<Rpc::ChannelOptions>;

TEST(Tls, NamesTheCallerByItsCertificateAndCarriesItsSessionToken) {
  const Certificates certificates;
  SeenInfo seen_info;
  LoopbackServer server(seen_info.Method(), ServerWith(certificates.Server()));
  Rpc::Channel channel(server.address(), ChannelWith(certificates.Client()));
  channel.SetSessionToken("s3cret");
  ASSERT_EQ(Call(&channel).code, StatusCode::kOk);
  const Rpc::CallInfo seen = seen_info.Get();
  EXPECT_EQ(seen.identity.common_name, "client");
  EXPECT_EQ(seen.identity.alternative_names, std::vector<std::string>{"client.example"});
  EXPECT_EQ(seen.session_token, "s3cret");
  EXPECT_EQ(seen.metadata.count("authorization"), 0U);
  channel.SetSessionToken("");
  ASSERT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_EQ(seen_info.Get().session_token, "");
  EXPECT_THROW(channel.SetSessionToken("two words"), std::invalid_argument);
}

TEST(Tls, ASessionTokenIsNeverSentInClear) {
  SeenInfo served;
  LoopbackServer server(served.Method());
  Rpc::ChannelOptions options;
  options.session_token = "s3cret";
  Rpc::Channel channel(server.address(), options);
  const Result result = Call(&channel);
  EXPECT_EQ(result.code, StatusCode::kUnauthenticated);
  EXPECT_NE(result.text.find("not sent over a plaintext connection"), std::string::npos);
  EXPECT_EQ(served.Get().method, "");
}

TEST(Tls, StrangersFailWithATextThatSaysWhy) {
  const Certificates ours;
  const Certificates theirs;
  LoopbackServer tls(Echo(), ServerWith(ours.Server()));
  LoopbackServer plaintext(Echo());

  Rpc::TlsFiles other_authority = ours.Client();
  other_authority.ca_file = theirs.PathOf("ca.pem");
  Rpc::TlsFiles other_client = theirs.Client();
  other_client.ca_file = ours.PathOf("ca.pem");
  Rpc::TlsFiles no_certificate;
  no_certificate.ca_file = ours.PathOf("ca.pem");
  Rpc::ChannelOptions other_name = ChannelWith(ours.Client());
  other_name.server_name = "other.example";
  const struct {
    const char* what;
    std::string address;
    Rpc::ChannelOptions options;
    const char* text;
  } cases[] = {
      {"wrong authority", tls.address(), ChannelWith(other_authority),
       "not signed by an authority in the CA file"},
      {"wrong name", tls.address(), other_name, "does not carry the expected name"},
      {"foreign certificate", tls.address(), ChannelWith(other_client),
       "may have refused this client's certificate"},
      {"missing certificate", tls.address(), ChannelWith(no_certificate),
       "may have refused this client's certificate"},
      {"plaintext to TLS", tls.address(), {}, "it may expect TLS"},
      {"TLS to plaintext", plaintext.address(), ChannelWith(ours.Client()),
       "the server does not speak TLS there"},
  };
  for (const auto& test : cases) {
    Rpc::Channel channel(test.address, test.options);
    const Result result = Call(&channel);
    EXPECT_EQ(result.code, StatusCode::kUnavailable) << test.what;
    EXPECT_NE(result.text.find(test.text), std::string::npos) << test.what << ": " << result.text;
    EXPECT_NE(result.text.find(test.address), std::string::npos) << result.text;
  }
  Rpc::Channel good(tls.address(), ChannelWith(ours.Client()));
  EXPECT_EQ(Call(&good).code, StatusCode::kOk);
}

TEST(Tls, TheGuidesCommandsMakeCertificatesThatWork) {
  const std::string guide = ReadFile(CMNSYS_GUIDES "/rpc.md");
  const std::string begin = "```sh\n";
  const std::size_t at = guide.find(begin + "# Once, on a machine that you trust");
  ASSERT_NE(at, std::string::npos);
  const std::size_t commands = at + begin.size();
  const TemporaryFolder folder;
  const ProcessResult made =
      CmnSys::Test::Run({"env", "-C", folder.path(), "sh", "-eu", "-c",
                         guide.substr(commands, guide.find("```", commands) - commands)});
  ASSERT_EQ(made.status, 0) << made.errors;
  const auto files = [&folder](const std::string& name) {
    return Rpc::TlsFiles{folder.PathOf("ca.pem"), folder.PathOf(name + ".pem"),
                         folder.PathOf(name + ".key")};
  };
  SeenInfo seen;
  LoopbackServer server(seen.Method(), ServerWith(files("server")));
  Rpc::ChannelOptions options = ChannelWith(files("client"));
  options.server_name = "server.example";
  Rpc::Channel channel(server.address(), options);
  const Result result = Call(&channel);
  EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
  EXPECT_EQ(seen.Get().identity.common_name, "client");
}

TEST(Tls, PlaintextBeyondLoopbackMustBeAskedFor) {
  const auto start = [](const std::string& address, Rpc::Plaintext plaintext) {
    Rpc::ServerOptions options;
    options.addresses = {address};
    options.plaintext = plaintext;
    LoopbackServer server(Echo(), options);
  };
  EXPECT_THROW(start("0.0.0.0:0", Rpc::Plaintext::kLoopbackOnly), std::invalid_argument);
  EXPECT_NO_THROW(start("0.0.0.0:0", Rpc::Plaintext::kAnywhere));
  EXPECT_NO_THROW(start("localhost:0", Rpc::Plaintext::kLoopbackOnly));
  EXPECT_THROW(Rpc::Channel("192.0.2.1:4000"), std::invalid_argument);
  Rpc::ChannelOptions anywhere;
  anywhere.plaintext = Rpc::Plaintext::kAnywhere;
  EXPECT_NO_THROW(Rpc::Channel("192.0.2.1:4000", anywhere));
}

TEST(Tls, FilesThatCannotBeUsedAreRefusedByName) {
  const Certificates certificates;
  Rpc::TlsFiles missing = certificates.Server();
  missing.key_file = certificates.PathOf("none.key");
  Rpc::TlsFiles none;
  none.ca_file = certificates.PathOf("ca.pem");
  // Opening such a pipe usually waits for a writer.
  Rpc::TlsFiles pipe = certificates.Server();
  pipe.key_file = certificates.PathOf("pipe.key");
  ASSERT_EQ(mkfifo(pipe.key_file.c_str(), 0600), 0);
  Rpc::TlsFiles long_file = certificates.Server();
  long_file.ca_file = certificates.PathOf("long.pem");
  std::ofstream(long_file.ca_file) << std::ifstream(none.ca_file).rdbuf();
  std::filesystem::resize_file(long_file.ca_file, std::uintmax_t{1} << 40);
  const std::pair<Rpc::TlsFiles, std::string> cases[] = {
      {missing, "cannot read the key file " + missing.key_file + ": No such file or directory"},
      {none, "TLS needs the certificate file"},
      {pipe, pipe.key_file + " holds no private key"},
      {long_file, "it is longer than 16 MiB"}};
  for (const auto& [files, text] : cases) {
    try {
      LoopbackServer server(Echo(), ServerWith(files));
      ADD_FAILURE() << "started without: " << text;
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
