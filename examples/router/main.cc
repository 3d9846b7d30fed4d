// Routes a stream of events, a record of the wire form each, from one file to others.

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <iostream>
#include <string>
#include <string_view>

#include "CmnSys/Util/DelimitedStream.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.writer.h"
#include "router.h"

namespace {

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::StringOutputStream;
using Pb::CmnSys::GidWriter;
using Pb::CmnSys::Events::EventWriter;
namespace Events = Pb::CmnSys::Events;

// The stream that a recorder would send: five events from two servers.
std::string RecordedEvents() {
  std::string stream;
  StringOutputStream output(&stream);
  CmnSys::View::WriteBuffer buffer;
  for (int i = 0; i < 5; ++i) {
    EventWriter event(&buffer);
    event.set_this_id(i);
    event.set_timestamp(1000 + i);
    event.set_event_type(i % 2 == 0 ? Events::EVENT_DEVICE_MOTION_START
                                    : Events::EVENT_DEVICE_MOTION_STOP);
    {
      GidWriter gid = event.mutable_originating_server_gid();
      gid.set_id(i < 3 ? "server-1" : "server-2");
      gid.set_type(Pb::CmnSys::GID_TYPE_SERVER);
    }
    event.Close();
    if (CmnSys::Util::WriteDelimited(buffer.bytes(), &output)) {
      std::cerr << "an event is too long\n";
    }
  }
  return stream;
}

}  // namespace

int main() {
  const std::string stream = RecordedEvents();

  std::string motion_of_server_1;
  CmnSys::View::WriteBuffer named;
  int newest = 0;
  Router router;
  StringOutputStream output(&motion_of_server_1);
  router.Add({Events::EVENT_DEVICE_MOTION_START, "server-1", 0, [&](std::string_view event) {
                event = WithServerName(event, "Gatehouse", &named);
                if (CmnSys::Util::WriteDelimited(event, &output)) std::cerr << "not forwarded\n";
              }});
  router.Add(
      {Events::EVENT_DEVICE_MOTION_STOP, "", 1003, [&newest](std::string_view) { ++newest; }});

  ArrayInputStream input(stream.data(), static_cast<int>(stream.size()));
  CmnSys::Util::DelimitedReader reader(&input);
  std::string_view event;
  CmnSys::Util::DelimitedStatus status;
  while ((status = reader.Read(&event)) == CmnSys::Util::DelimitedStatus::kRecord) {
    if (!router.Route(event)) std::cerr << "record " << reader.records() - 1 << " is no event\n";
  }
  if (status != CmnSys::Util::DelimitedStatus::kEnd) {
    std::cerr << ToString(reader.error()) << '\n';
    return 1;
  }
  std::cout << reader.records() << " events; of server-1 " << motion_of_server_1.size()
            << " bytes forwarded; new ones " << newest << '\n';
  return motion_of_server_1.empty() || newest != 1 ? 1 : 0;
}
