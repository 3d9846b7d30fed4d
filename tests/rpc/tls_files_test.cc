// TLS files that change for the worse, run out, or are revoked.

#include <grpc/support/log.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

#include "fixture.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;
using Kind = Rpc::Event::Kind;

class EventLog final : public Rpc::Observer {
 public:
  void OnEvent(const Rpc::Event& event) override {
    const std::lock_guard lock(mutex_);
    events_.push_back(event);
  }
  // The text of the last event of a kind, empty without one.
  std::string Last(Kind kind) const {
    const std::lock_guard lock(mutex_);
    std::string text;
    for (const Rpc::Event& event : events_) {
      if (event.kind == kind) text = event.text;
    }
    return text;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Rpc::Event> events_;
};

std::string Contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

void Write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

// The files that change are the server's or, with true, the client's.
class ChangedTlsFiles : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(, ChangedTlsFiles, testing::Bool(),
                         [](const auto& test) { return test.param ? "OfClient" : "OfServer"; });

TEST_P(ChangedTlsFiles, AreUsedWhenTheyAreGoodAndToldWhenTheyAreNot) {
  const bool of_client = GetParam();
  gpr_set_log_verbosity(GPR_LOG_SEVERITY_ERROR);  // Whatever the environment says.
  const Certificates good;
  const Certificates other;
  const TemporaryFolder folder;
  Rpc::TlsFiles files = of_client ? good.Client() : good.Server();
  for (std::string* file : {&files.ca_file, &files.certificate_file, &files.key_file}) {
    const std::string copy = folder.PathOf(fs::path(*file).filename());
    fs::copy_file(*file, copy);
    *file = copy;
  }
  const auto log = std::make_shared<EventLog>();
  Rpc::ServerOptions options;
  options.tls = of_client ? good.Server() : files;
  if (!of_client) options.observer = log;
  auto server = std::make_unique<LoopbackServer>(Echo(), options);
  const std::string address = server->address();
  Rpc::ChannelOptions lasting_options;
  lasting_options.tls = of_client ? files : good.Client();
  if (of_client) lasting_options.observer = log;
  Rpc::Channel lasting(address, lasting_options);
  lasting_options.tls = other.Client();
  const Rpc::Channel of_others(address, lasting_options);
  // Over a new connection to a peer with these certificates.
  const auto works = [&](const Certificates& certificates) {
    if (of_client) {
      server.reset();
      options.addresses = {address};
      options.tls = certificates.Server();
      server = std::make_unique<LoopbackServer>(Echo(), options);
      Rpc::ClientController patient;
      patient.SetWaitForReady(true);
      patient.SetTimeout(std::chrono::seconds(2));
      return Call(&lasting, {}, &patient).code == StatusCode::kOk;
    }
    Rpc::ChannelOptions channel_options;
    channel_options.tls = certificates.Client();
    Rpc::Channel channel(address, channel_options);
    return Call(&channel).code == StatusCode::kOk;
  };
  EXPECT_TRUE(Eventually([&] { return works(good); }));
  // They are valid for two days.
  EXPECT_NE(log->Last(Kind::kCertificateExpires).find("expires soon"), std::string::npos)
      << log->Last(Kind::kCertificateExpires);
  const std::string certificate = Contents(files.certificate_file);
  const struct {
    std::string file;
    std::string text;
    std::string fault;
  } cases[] = {
      {files.certificate_file, "", "holds no certificate"},
      {files.certificate_file, certificate.substr(0, certificate.size() / 2),
       "holds no certificate"},
      {files.certificate_file, Contents(other.Server().certificate_file), "does not belong"},
      {files.key_file, "", "holds no private key"},
      {files.ca_file, Contents(files.ca_file) + "-----BEGIN CERTIFICATE-----\nAAAA", "damaged"},
      {files.ca_file, "", "holds no certificate"}};
  for (const auto& test : cases) {
    const std::string before = Contents(test.file);
    Write(test.file, test.text);
    EXPECT_TRUE(Eventually([&] {
      return log->Last(Kind::kTlsFilesNotUsable).find(test.fault) != std::string::npos &&
             log->Last(Kind::kTlsFilesNotUsable).find(test.file) != std::string::npos;
    })) << test.fault
        << log->Last(Kind::kTlsFilesNotUsable);
    EXPECT_TRUE(Eventually([&] { return works(good); })) << test.fault;
    Write(test.file, before);
  }
  EXPECT_EQ(log->Last(Kind::kTlsFilesReloaded), "");
  // A stranger, whom gRPC's log tells.
  EXPECT_FALSE(works(other));
  EXPECT_TRUE(Eventually(
      [&] { return log->Last(Kind::kLog).find("Handshake failed") != std::string::npos; }));
  const Rpc::TlsFiles others = of_client ? other.Client() : other.Server();
  Write(files.certificate_file, Contents(others.certificate_file));
  Write(files.key_file, Contents(others.key_file));
  Write(files.ca_file, Contents(others.ca_file));
  EXPECT_TRUE(Eventually([&] { return works(other); }));
  EXPECT_NE(log->Last(Kind::kTlsFilesReloaded), "");
}

TEST(RevokedClients, AreRefusedAlsoOnConnectionsThatExistAndTheirSubscriptionsEnd) {
  const TemporaryFolder folder;
  const ProcessResult made = CmnSys::Test::Run({"sh", "-ec", R"(
cd "$1"
printf '[ca]\ndefault_ca=d\n[d]\ndatabase=index.txt\ncertificate=ca.pem\nprivate_key=ca.key\n' > ca.cnf
printf 'serial=serial\nnew_certs_dir=.\ndefault_md=sha256\ndefault_days=2\npolicy=p\n' >> ca.cnf
printf 'default_crl_days=30\ncopy_extensions=copy\n[p]\ncommonName=supplied\n' >> ca.cnf
: > index.txt; echo 01 > serial
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ca.key -out ca.pem -subj /CN=A -days 2
for name in server client late; do
  openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout $name.key -out $name.csr \
    -subj /CN=$name -addext subjectAltName=IP:127.0.0.1
  [ $name = late ] && time='-startdate 200101000000Z -enddate 200102000000Z'
  openssl ca -config ca.cnf -batch -notext $time -in $name.csr -out $name.pem
done
openssl ca -config ca.cnf -gencrl -out crl.pem
openssl ca -config ca.cnf -revoke client.pem
openssl ca -config ca.cnf -gencrl -out new.pem
)",
                                                "sh", folder.path()});
  ASSERT_EQ(made.status, 0) << made.errors;
  const auto files = [&](const std::string& name) {
    Rpc::TlsFiles tls;
    tls.ca_file = folder.PathOf("ca.pem");
    tls.certificate_file = folder.PathOf(name + ".pem");
    tls.key_file = folder.PathOf(name + ".key");
    tls.reload_interval = std::chrono::seconds(1);
    return tls;
  };
  Rpc::ServerOptions options;
  options.tls = files("server");
  options.tls->revocation_file = folder.PathOf("crl.pem");
  options.addresses = {"127.0.0.1:0"};
  QueryService service(Echo());
  Rpc::Server server(options);
  server.Register(&service);
  server.AddPublisher<InitiateReq, InitiateRsp>("Test.Push", "Subscribe");
  server.Start();
  Rpc::ChannelOptions channel_options;
  channel_options.tls = files("client");
  Rpc::Channel channel(server.Addresses().front(), channel_options);
  ASSERT_EQ(Call(&channel).code, StatusCode::kOk) << Call(&channel).text;
  Signal active;
  Signal ended;
  Rpc::Status outcome;
  Rpc::SubscriptionHandlerOf<InitiateRsp> handler;
  handler.on_active = [&] { active.Set(); };
  handler.on_end = [&](const Rpc::Status& status) {
    outcome = status;
    ended.Set();
  };
  const auto subscription = channel.Subscribe<InitiateRsp>("Test.Push/Subscribe", InitiateReq(),
                                                           handler, Rpc::SubscribeOptions());
  ASSERT_TRUE(active.Wait());
  fs::rename(folder.PathOf("new.pem"), folder.PathOf("crl.pem"));
  EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kUnauthenticated; }));
  const std::string revoked = "the certificate of client was revoked by its authority";
  EXPECT_EQ(Call(&channel).text, revoked);
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(outcome.text, revoked);

  // Without revocations, a certificate that is accepted at first.
  const Rpc::TlsFiles turned = files("turned");
  fs::copy_file(files("server").certificate_file, turned.certificate_file);
  fs::copy_file(files("server").key_file, turned.key_file);
  channel_options.tls = turned;
  options.tls->revocation_file.clear();
  auto restarted = std::make_unique<LoopbackServer>(Echo(), options);
  options.addresses = {restarted->address()};
  Rpc::Channel late(restarted->address(), channel_options);
  EXPECT_EQ(Call(&late).code, StatusCode::kOk) << Call(&late).text;
  fs::rename(files("late").certificate_file, turned.certificate_file);
  fs::rename(files("late").key_file, turned.key_file);
  EXPECT_TRUE(Eventually([&] {
    restarted.reset();
    restarted = std::make_unique<LoopbackServer>(Echo(), options);
    const std::string text = "the certificate of CN = late has expired: Jan  2";
    return Call(&late).text.find(text) != std::string::npos;
  })) << Call(&late).text;

  const Certificates others;  // Their authority did not sign that list.
  Rpc::ServerOptions foreign;
  foreign.tls = others.Server();
  foreign.tls->revocation_file = folder.PathOf("crl.pem");
  EXPECT_THROW(LoopbackServer(Echo(), foreign), std::invalid_argument);
}

}  // namespace
}  // namespace CmnSys::Test
