#ifndef CMNSYS_TESTS_PACKAGE_CMAKE_PROJECT_H_
#define CMNSYS_TESTS_PACKAGE_CMAKE_PROJECT_H_

#include <string>
#include <vector>

#include "support/process.h"

namespace CmnSys::Test {

// A CMake project outside the tree that uses the installed package, built with the compiler, the
// flags and the compiler cache of this build.
class CMakeProject {
 public:
  CMakeProject(std::string source, std::string build)
      : source_(std::move(source)), build_(std::move(build)) {}

  ProcessResult Configure(const std::vector<std::string>& options = {}) const;
  ProcessResult Build(const std::string& target = "all") const;
  ProcessResult Install(const std::string& prefix) const;

  // Runs a program of the build folder with the paths of files of that folder as its arguments.
  ProcessResult RunProgram(const std::string& name,
                           const std::vector<std::string>& files = {}) const;

 private:
  std::string source_;
  std::string build_;
};

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_PACKAGE_CMAKE_PROJECT_H_
