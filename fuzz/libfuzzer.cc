// What libFuzzer calls, https://llvm.org/docs/LibFuzzer.html. With --write-seeds=FOLDER the program
// writes the target's first inputs and ends.

#include <google/protobuf/stubs/logging.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include "target.h"

// Of libFuzzer: changes bytes.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

const CmnSys::Fuzz::Target& Target() { return CmnSys::Fuzz::Targets().front(); }

std::string_view View(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  google::protobuf::SetLogHandler(nullptr);
  constexpr std::string_view kWriteSeeds = "--write-seeds=";
  for (int i = 1; i < *argc; ++i) {
    const std::string_view argument = (*argv)[i];
    if (argument.substr(0, kWriteSeeds.size()) != kWriteSeeds) continue;
    const std::string folder(argument.substr(kWriteSeeds.size()));
    int number = 0;
    for (const std::string& seed : Target().seeds()) {
      std::ofstream file(folder + "/" + std::to_string(number++), std::ios::binary);
      if (!(file << seed).flush()) std::exit(2);
    }
    std::exit(0);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Target().run(View(data, size));
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned seed) {
  CmnSys::Fuzz::Random random(seed);
  if (Target().mutate != nullptr && random() % 3 != 0) {
    const std::string mutated = Target().mutate(View(data, size), &random);
    if (!mutated.empty() && mutated.size() <= max_size) {
      std::memcpy(data, mutated.data(), mutated.size());
      return mutated.size();
    }
  }
  // The type in the first line is left alone.
  const void* end = Target().mutate == nullptr ? nullptr : std::memchr(data, '\n', size);
  const std::size_t kept =
      end == nullptr ? 0
                     : static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - data) + 1;
  return kept + LLVMFuzzerMutate(data + kept, size - kept, max_size - kept);
}
