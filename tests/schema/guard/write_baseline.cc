// write_baseline <descriptor set> <folder>
//
// Writes the schema's own files to <folder>, each in the form in which the protobuf runtime prints
// a descriptor: complete, without comments, and always in the same layout, so that a difference
// shows a change of the contract. The folder's old files below ProtoBuf/CmnSys/ are removed first.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "schema/guard/schema_set.h"

namespace {

namespace fs = std::filesystem;

void Write(const std::string& set_path, const fs::path& folder) {
  const CmnSys::SchemaGuard::SchemaSet schema(CmnSys::SchemaGuard::ReadDescriptorSet(set_path));
  fs::remove_all(folder / "ProtoBuf" / "CmnSys");
  for (const google::protobuf::FileDescriptor* file : schema.files()) {
    const fs::path path = folder / file->name();
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << file->DebugString();
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
  }
  std::cout << folder.string() << ": " << schema.files().size() << " files\n";
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
