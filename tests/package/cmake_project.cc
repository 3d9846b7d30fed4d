#include "package/cmake_project.h"

namespace CmnSys::Test {

ProcessResult CMakeProject::Configure(const std::vector<std::string>& options) const {
  std::vector<std::string> command = {CMNSYS_CMAKE,
                                      "-S",
                                      source_,
                                      "-B",
                                      build_,
                                      "-G",
                                      "Ninja",
                                      std::string("-DCMAKE_PREFIX_PATH=") + CMNSYS_PREFIX,
                                      std::string("-DCMAKE_CXX_COMPILER=") + CMNSYS_COMPILER,
                                      "-DCMAKE_CXX_COMPILER_LAUNCHER=" CMNSYS_LAUNCHER,
                                      std::string("-DCMAKE_CXX_FLAGS=") + CMNSYS_COMPILER_FLAGS};
  command.insert(command.end(), options.begin(), options.end());
  return Run(command);
}

ProcessResult CMakeProject::Build(const std::string& target) const {
  return Run({CMNSYS_CMAKE, "--build", build_, "--target", target});
}

ProcessResult CMakeProject::Install(const std::string& prefix) const {
  return Run({CMNSYS_CMAKE, "--install", build_, "--prefix", prefix});
}

ProcessResult CMakeProject::RunProgram(const std::string& name,
                                       const std::vector<std::string>& files) const {
  std::vector<std::string> command = {build_ + "/" + name};
  for (const std::string& file : files) command.push_back(build_ + "/" + file);
  return Run(command);
}

}  // namespace CmnSys::Test
