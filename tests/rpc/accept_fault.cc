#include "accept_fault.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

CmnSys::Test::AcceptFault& CmnSys::Test::TheAcceptFault() {
  static AcceptFault fault;
  return fault;
}

// Takes the place of the C library's in all of the program.
extern "C" int accept4(int listener, sockaddr* from, socklen_t* length, int flags) {
  CmnSys::Test::AcceptFault& fault = CmnSys::Test::TheAcceptFault();
  if (fault.error == 0) {
    return static_cast<int>(syscall(SYS_accept4, listener, from, length, flags));
  }
  ++fault.failures;
  errno = fault.error;
  return -1;
}
