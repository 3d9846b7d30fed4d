// Reading and writing in place: views and writers of the library's own wire format.

#include <memory>
#include <stdexcept>
#include <string_view>

#include "CmnSys/View/Validate.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.view.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.writer.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.view.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.writer.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"
#include "messages/codec.h"
#include "messages/event_fields.h"

namespace CmnSys::Bench {

namespace {

using Pb::CmnSys::QueriesResult::QueryResultView;
using Pb::CmnSys::QueriesResult::QueryResultWriter;

class Views : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    QueryResultWriter writer(&buffer_);
    Set(values, writer);
    writer.Close();
    return buffer_.bytes();
  }

  std::uint64_t Decode(std::string_view bytes) override { return SumOf(QueryResultView(bytes)); }

 private:
  View::WriteBuffer buffer_;
};

class ValidatedViews : public Views {
 public:
  std::uint64_t Decode(std::string_view bytes) override {
    if (!View::Validate<QueryResultView>(bytes)) throw std::runtime_error("views: bytes not valid");
    return Views::Decode(bytes);
  }
};

}  // namespace

std::unique_ptr<Codec> MakeViews() { return std::make_unique<Views>(); }
std::unique_ptr<Codec> MakeValidatedViews() { return std::make_unique<ValidatedViews>(); }

}  // namespace CmnSys::Bench
