// Loads the protobuf runtime and nothing of ours.

#include <google/protobuf/stubs/common.h>

int main() { GOOGLE_PROTOBUF_VERIFY_VERSION; }
