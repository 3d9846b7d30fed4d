// write_baseline <descriptor set> <folder>
//
// Writes each of the schema's own files to <folder> as <name>.txt, in the form in which the
// protobuf runtime prints a descriptor: complete, without comments, and always in the same layout,
// so that a difference shows a change of the contract. The folder's other .txt files are removed.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>

#include "schema_set.h"

namespace {

namespace fs = std::filesystem;

void Write(const std::string& set_path, const fs::path& folder) {
  const CmnSys::SchemaGuard::SchemaSet schema(CmnSys::SchemaGuard::ReadDescriptorSet(set_path));
  fs::create_directories(folder);
  std::set<fs::path> written;
  for (const google::protobuf::FileDescriptor* file : schema.files()) {
    const fs::path path = folder / fs::path(file->name()).filename().replace_extension(".txt");
    std::ofstream out(path, std::ios::binary);
    out << file->DebugString();
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
    written.insert(path);
  }
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".txt" && written.count(entry.path()) == 0) {
      fs::remove(entry.path());
    }
  }
  std::cout << folder.string() << ": " << written.size() << " files\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: write_baseline DESCRIPTOR_SET FOLDER\n";
    return 2;
  }
  try {
    Write(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "write_baseline: " << error.what() << "\n";
    return 1;
  }
}
