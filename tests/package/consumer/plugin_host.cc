// Loads the plug-ins named by its arguments, a writer and a reader, twice, and lets them exchange a
// message. A third argument names a plug-in to load after them.

#include <dlfcn.h>

#include <iostream>

namespace google::protobuf {
class Message;
}

namespace {

void* Load(const char* path) {
  void* plugin = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) std::cerr << ::dlerror() << '\n';
  return plugin;
}

bool Exchange(const char* writer_path, const char* reader_path) {
  using google::protobuf::Message;
  void* writer = Load(writer_path);
  void* reader = Load(reader_path);
  if (writer == nullptr || reader == nullptr) return false;
  auto* new_event = reinterpret_cast<Message* (*)()>(::dlsym(writer, "NewEvent"));
  auto* read = reinterpret_cast<bool (*)(Message*)>(::dlsym(reader, "ReadAndDelete"));
  const bool same = new_event != nullptr && read != nullptr && read(new_event());
  ::dlclose(writer);
  ::dlclose(reader);
  return same;
}

}  // namespace

int main(int argc, char* argv[]) {
  for (int round = 0; round < 2; ++round) {
    if (!Exchange(argv[1], argv[2])) {
      std::cerr << "the plug-ins do not share their messages\n";
      return 1;
    }
  }
  return argc < 4 || Load(argv[3]) != nullptr ? 0 : 1;
}
