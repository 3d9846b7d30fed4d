// Service methods that read their request in place, by its generated view.

#ifndef CMNSYS_RPC_VIEW_METHOD_H_
#define CMNSYS_RPC_VIEW_METHOD_H_

#include <google/protobuf/service.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "CmnSys/Rpc/Server.h"
#include "CmnSys/View/Validate.h"
#include "CmnSys/View/View.h"

namespace CmnSys::Rpc {

template <typename Request, typename Response>
using ViewHandler = std::function<void(ServerController* controller,
                                       const typename View::ViewOf<Request>::type& request,
                                       Response* response, google::protobuf::Closure* done)>;

// Serves a method of a registered service by `handler`, which gets a view of the request: no
// message of it is made. Request and Response are the message classes of the method. The view
// header of the request's schema file and the validation header of the schema, for example
// "ProtoBuf/CmnSys/CmnSys.validate.h", must be included.
//
// The handler is called as the methods of services are, and other than them with requests that were
// validated but not parsed. The view itself is gone when the handler returns; what it is made of,
// and what came from it or is copied from it, is valid until `done` is run.
//
// Before Start(); throws as Server::AddBytesMethod does.
template <typename Request, typename Response>
void AddViewMethod(Server* server, std::string service, std::string method,
                   ViewHandler<Request, Response> handler) {
  using RequestView = typename View::ViewOf<Request>::type;
  BytesMethod bytes;
  bytes.service = std::move(service);
  bytes.method = std::move(method);
  bytes.request = Request::descriptor();
  bytes.response = Response::descriptor();
  bytes.is_valid = View::Validate<RequestView>;
  if (handler) {
    bytes.run = [handler = std::move(handler)](
                    ServerController* controller, std::string_view request,
                    google::protobuf::Message* response, google::protobuf::Closure* done) {
      handler(controller, RequestView(request), static_cast<Response*>(response), done);
    };
  }
  server->AddBytesMethod(std::move(bytes));
}

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_VIEW_METHOD_H_
