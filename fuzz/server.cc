// Whole connections to a live server over a Unix domain socket.
//
// An input that holds a message is the request of a call: the server answers a message with the
// echo of it and anything else with an error. Any other input is what follows HTTP/2's preface: the
// server ends the connection, keeps nothing of it, and answers the next call.

#include "CmnSys/Rpc/Server.h"

#include <google/protobuf/empty.pb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "messages.h"
#include "support/files.h"

namespace CmnSys::Fuzz {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;

namespace {

constexpr const char* kType = "Pb.CmnSys.Events.Event";
constexpr const char* kMethod = "/Pb.Rpc.SvcQuery.Query/Initiate";

// The service of this name, whose methods all take an event and give it back.
class EchoService : public google::protobuf::Service {
 public:
  const google::protobuf::ServiceDescriptor* GetDescriptor() override {
    return google::protobuf::DescriptorPool::generated_pool()->FindServiceByName(
        "Pb.Rpc.SvcQuery.Query");
  }
  void CallMethod(const MethodDescriptor*, google::protobuf::RpcController*, const Message* request,
                  Message* response, Closure* done) override {
    response->CopyFrom(*request);
    done->Run();
  }
  const Message& GetRequestPrototype(const MethodDescriptor*) const override {
    return *google::protobuf::MessageFactory::generated_factory()->GetPrototype(
        google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(kType));
  }
  const Message& GetResponsePrototype(const MethodDescriptor* method) const override {
    return GetRequestPrototype(method);
  }
};

class LiveServer {
 public:
  LiveServer() : server_(Options(folder_.PathOf("socket"))) {
    server_.Register(&service_);
    server_.AddPublisher<google::protobuf::Empty, google::protobuf::Empty>("Push", "Subscribe");
    server_.Start();
  }

  std::string path() const { return folder_.PathOf("socket"); }
  Rpc::ServerCounters Counters() const { return server_.Counters(); }

 private:
  static Rpc::ServerOptions Options(const std::string& path) {
    Rpc::ServerOptions options;
    options.addresses = {"unix:" + path};
    return options;
  }

  Test::TemporaryFolder folder_;
  EchoService service_;
  Rpc::Server server_;
};

LiveServer& Live() {
  static auto* const live = new LiveServer;
  return *live;
}

// HTTP/2, RFC 9113 section 4.1.
std::string Frame(int type, int flags, std::uint32_t stream, const std::string& body) {
  std::string frame;
  for (const unsigned shift : {16U, 8U, 0U}) frame += static_cast<char>(body.size() >> shift);
  frame += static_cast<char>(type);
  frame += static_cast<char>(flags);
  for (const unsigned shift : {24U, 16U, 8U, 0U}) frame += static_cast<char>(stream >> shift);
  return frame + body;
}
constexpr int kData = 0;
constexpr int kHeaders = 1;
constexpr int kEndStream = 1;
constexpr int kEndHeaders = 4;
const std::string kPreface = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n";

std::string CallOf(const std::string& method, std::string_view message) {
  std::string headers;
  for (const auto& [name, value] : {std::pair<std::string, std::string>{":method", "POST"},
                                    {":scheme", "http"},
                                    {":path", method},
                                    {":authority", "x"},
                                    {"te", "trailers"},
                                    {"content-type", "application/grpc"}}) {
    headers += '\0';
    headers += static_cast<char>(name.size()) + name;
    headers += static_cast<char>(value.size()) + value;
  }
  std::string body(1, '\0');
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    body += static_cast<char>(message.size() >> shift);
  return Frame(4, 0, 0, "") + Frame(kHeaders, kEndHeaders, 1, headers) +
         Frame(kData, kEndStream, 1, body + std::string(message));
}

class Connection {
 public:
  Connection() : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    Live().path().copy(to.sun_path, sizeof to.sun_path - 1);
    Expect(::connect(descriptor_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0,
           "the server takes connections");
  }
  ~Connection() { ::close(descriptor_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // What the server has already refused to read is lost.
  void Send(const std::string& bytes) {
    ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  void EndSending() { ::shutdown(descriptor_, SHUT_WR); }

  // Reads until it holds so many bytes; false when the connection has ended.
  bool ReadTo(std::size_t size) {
    while (received_.size() < size) {
      pollfd ready = {descriptor_, POLLIN, 0};
      int count = 0;
      do count = ::poll(&ready, 1, 30'000);
      while (count < 0 && errno == EINTR);  // By libFuzzer's alarm.
      Expect(count == 1, "the server answers or ends the connection");
      char block[4096];
      const ssize_t got = ::recv(descriptor_, block, sizeof block, 0);
      if (got <= 0) return false;
      received_.append(block, static_cast<std::size_t>(got));
    }
    return true;
  }
  void ReadToEnd() {
    while (ReadTo(received_.size() + 1)) continue;
  }

  struct Answer {
    std::string message;
    std::string trailers;
  };
  // The answer on stream 1.
  Answer ReadAnswer() {
    Answer answer;
    for (std::size_t at = 0; ReadTo(at + 9);) {
      const auto byte = [&](std::size_t i) {
        return static_cast<std::size_t>(static_cast<unsigned char>(received_[at + i]));
      };
      const std::size_t size = byte(0) << 16 | byte(1) << 8 | byte(2);
      if (!ReadTo(at + 9 + size)) break;
      const std::string body = received_.substr(at + 9, size);
      if (byte(8) == 1 && byte(3) == kData) answer.message += body;
      if (byte(8) == 1 && byte(3) == kHeaders) answer.trailers = body;
      if (byte(8) == 1 && (byte(4) & kEndStream) != 0) return answer;
      at += 9 + size;
    }
    Expect(false, "the call is answered");
    return {};
  }

 private:
  const int descriptor_;
  std::string received_;
};

void Call(const Message& type, std::string_view content) {
  const std::unique_ptr<Message> request(type.New());
  const bool is_message = request->ParseFromArray(content.data(), static_cast<int>(content.size()));
  Connection connection;
  connection.Send(kPreface + CallOf(kMethod, content));
  const Connection::Answer answer = connection.ReadAnswer();
  // gRPC writes the first status of a connection as it is, behind its length.
  Expect((answer.trailers.find("grpc-status\x01"
                               "0") != std::string::npos) == is_message,
         is_message ? "a message is taken" : "other bytes are refused");
  if (!is_message) return;
  const std::unique_ptr<Message> response(type.New());
  Expect(answer.message.size() >= 5 && response->ParseFromString(answer.message.substr(5)),
         "the answer is a message");
  Expect(Bytes(*response) == Bytes(*request), "the answer is the request");
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype != nullptr) {
    if (split.prototype->GetTypeName() == kType && split.content.size() < 16'000) {
      Call(*split.prototype, split.content);
    }
    return;
  }
  {
    Connection connection;
    connection.Send(kPreface + std::string(input));
    connection.EndSending();
    connection.ReadToEnd();
  }
  Call(EchoService().GetRequestPrototype(nullptr), "");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (Live().Counters().calls + Live().Counters().subscribers != 0) {
    Expect(std::chrono::steady_clock::now() < end, "nothing of the connection is left");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

std::vector<std::string> Seeds() {
  std::vector<std::string> seeds;
  for (const std::string& seed : WireSeeds()) {
    const TypedInput split = SplitInput(seed);
    if (split.prototype->GetTypeName() == kType) seeds.push_back(seed);
  }
  for (const char* method :
       {kMethod, "/Push/Subscribe", "/grpc.health.v1.Health/Check", "/grpc.health.v1.Health/Watch",
        "/grpc.reflection.v1.ServerReflection/ServerReflectionInfo", "/none"}) {
    seeds.push_back(CallOf(method, ""));
  }
  // Frames of the other kinds: priority, reset, settings, ping, goaway, window, continuation.
  seeds.push_back(CallOf(kMethod, "").substr(0, 60) + Frame(2, 0, 1, std::string(5, '\0')) +
                  Frame(3, 0, 1, std::string(4, '\x01')) +
                  Frame(4, 0, 0, std::string("\0\4\0\0\0\1", 6)) + Frame(6, 0, 0, "12345678") +
                  Frame(7, 0, 0, std::string(8, '\0')) +
                  Frame(8, 0, 0, std::string("\0\0\1\0", 4)) + Frame(9, 4, 1, ""));
  return seeds;
}

const Registration kRegistration({"server", Run, Seeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
