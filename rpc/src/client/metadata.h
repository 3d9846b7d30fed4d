// What a client sends along with a call besides its request.

#ifndef CMNSYS_RPC_SRC_METADATA_H_
#define CMNSYS_RPC_SRC_METADATA_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace CmnSys::Rpc {

class Metadata {
 public:
  // See ClientController::AddMetadata.
  void Add(const std::string& name, const std::string& value);
  const std::vector<std::pair<std::string, std::string>>& entries() const { return entries_; }

 private:
  std::vector<std::pair<std::string, std::string>> entries_;
  std::size_t bytes_ = 0;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_METADATA_H_
