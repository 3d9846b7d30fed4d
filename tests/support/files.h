#ifndef CMNSYS_TESTS_SUPPORT_FILES_H_
#define CMNSYS_TESTS_SUPPORT_FILES_H_

#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Test {

// A new folder that is removed with everything in it at the end of the object's life.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

  // Writes a file in the folder and returns its path.
  std::string Write(const std::string& name, std::string_view bytes) const;

  // The path that a file of this name would have in the folder.
  std::string PathOf(const std::string& name) const { return path_ + "/" + name; }

  // Names of everything in the folder, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string path_;
};

// All bytes of a file; throws std::runtime_error when it cannot be read.
std::string ReadFile(const std::string& path);

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SUPPORT_FILES_H_
