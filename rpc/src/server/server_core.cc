#include "server/server_core.h"

#include <grpc/grpc_security_constants.h>

#include <string_view>

#include "common/address.h"
#include "common/payload.h"

namespace CmnSys::Rpc {

namespace {

std::string ToString(const grpc::string_ref& text) { return {text.data(), text.size()}; }

PeerIdentity IdentityOf(const grpc::AuthContext& auth) {
  PeerIdentity identity;
  if (!auth.IsPeerAuthenticated()) return identity;
  const auto names = auth.FindPropertyValues(GRPC_X509_CN_PROPERTY_NAME);
  if (!names.empty()) identity.common_name = ToString(names.front());
  for (const grpc::string_ref& name : auth.FindPropertyValues(GRPC_X509_SAN_PROPERTY_NAME)) {
    identity.alternative_names.push_back(ToString(name));
  }
  return identity;
}

}  // namespace

CallInfo MakeCallInfo(const std::string& service, const std::string& method,
                      const grpc::ServerContext& context) {
  static constexpr std::string_view kBearer = "Bearer ";
  CallInfo info;
  info.service = service;
  info.method = method;
  info.peer = PeerAddress(context.peer());
  info.identity = IdentityOf(*context.auth_context());
  for (const auto& [name, value] : context.client_metadata()) {
    if (name == "authorization" &&
        value.starts_with(grpc::string_ref(kBearer.data(), kBearer.size()))) {
      info.session_token = ToString(value.substr(kBearer.size()));
    } else {
      info.metadata.emplace(ToString(name), ToString(value));
    }
  }
  if (context.deadline() != std::chrono::system_clock::time_point::max()) {
    info.deadline = context.deadline();
  }
  return info;
}

ServerCore::ServerCore(ServerOptions server_options)
    : options(std::move(server_options)), workers(options.workers, options.max_workers) {}

void ServerCore::BeginStream(const grpc::ServerContext& context) {
  if (++streams > most_streams) close_connection(PeerAddress(context.peer()));
}

bool ServerCore::Buffer(std::size_t bytes) {
  std::size_t before = buffered_bytes;
  do {
    if (before != 0 && before + bytes > options.max_buffered_bytes) return false;
  } while (!buffered_bytes.compare_exchange_weak(before, before + bytes));
  return true;
}

void ServerCore::Tell(Event::Kind kind, const std::string& peer, const std::string& text,
                      const Status& status) const {
  if (options.observer == nullptr) return;
  Event event;
  event.kind = kind;
  event.address = peer;
  event.text = text;
  event.status = status;
  options.observer->OnEvent(event);
}

Status ServerCore::CheckRevoked(const CallInfo& info, const grpc::AuthContext& peer) const {
  if (tls == nullptr || !tls->ChecksRevocation()) return {};
  const auto certificate = peer.FindPropertyValues(GRPC_X509_PEM_CERT_PROPERTY_NAME);
  if (!certificate.empty() && !tls->IsRevoked(ToString(certificate.front()))) return {};
  return {StatusCode::kUnauthenticated,
          "the certificate of " + info.identity.common_name + " was revoked by its authority"};
}

Status ServerCore::Authorize(const CallInfo& info, const grpc::AuthContext& peer) const {
  Status revoked = CheckRevoked(info, peer);
  if (!revoked.Ok() || !options.authorize) return revoked;
  try {
    return options.authorize(info);
  } catch (...) {
    return CaughtException("authorisation");
  }
}

}  // namespace CmnSys::Rpc
