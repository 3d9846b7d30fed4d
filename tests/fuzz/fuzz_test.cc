// The fuzz targets without libFuzzer: some of the inputs that they begin with, and those that once
// failed.
// A target that is not content ends the process.

#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <ostream>

#include "support/files.h"
#include "target.h"

namespace CmnSys::Fuzz {

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

namespace {

namespace fs = std::filesystem;

class FuzzTarget : public testing::TestWithParam<Target> {
 public:
  FuzzTarget() { google::protobuf::SetLogHandler(nullptr); }
};

TEST_P(FuzzTarget, IsContent) {
  constexpr std::size_t kMost = 50;
  Random random(7);
  std::vector<std::string> inputs = GetParam().seeds();
  while (inputs.size() > kMost) inputs.erase(inputs.begin() + random() % inputs.size());
  for (const std::string& input : inputs) {
    GetParam().run(input);
    if (GetParam().mutate != nullptr) GetParam().run(GetParam().mutate(input, &random));
    GetParam().run(input.substr(0, random() % (input.size() + 1)));
  }
  const fs::path failed = fs::path(CMNSYS_FUZZ_FAILED) / GetParam().name;
  if (!fs::exists(failed)) return;
  for (const fs::path& path : fs::directory_iterator(failed)) {
    std::cerr << path.filename() << "\n";
    GetParam().run(CmnSys::Test::ReadFile(path));
  }
}

INSTANTIATE_TEST_SUITE_P(Each, FuzzTarget, testing::ValuesIn(Targets()),
                         [](const testing::TestParamInfo<Target>& tested) {
                           return tested.param.name;
                         });

}  // namespace
}  // namespace CmnSys::Fuzz
