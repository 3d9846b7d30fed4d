// Fills a message, writes it as bytes and reads it again.

#include <iostream>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Links.pb.h"

int main() {
  using Pb::CmnSys::Link;

  Link link;
  link.mutable_source()->set_id("camera-12");
  link.mutable_source()->set_type(Pb::CmnSys::GID_TYPE_DEVICE);
  link.mutable_target()->set_id("entrance");
  link.mutable_target()->set_type(Pb::CmnSys::GID_TYPE_MAP);

  std::string bytes;
  if (!link.SerializeToString(&bytes)) {
    std::cerr << "the link is larger than 2 GiB\n";
    return 1;
  }

  Link received;
  if (!received.ParseFromString(bytes)) {
    std::cerr << "these bytes are not a Link\n";
    return 1;
  }
  if (!received.source().has_server_id()) {
    std::cout << "the link does not say on which server its source is\n";
  }
  std::cout << received.source().id() << " leads to a "
            << Pb::CmnSys::GidType_Name(received.target().type()) << '\n';
  return 0;
}
