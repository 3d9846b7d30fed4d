// The parts of an RPC that a test brings itself.

#ifndef CMNSYS_TESTS_SUPPORT_CALLS_H_
#define CMNSYS_TESTS_SUPPORT_CALLS_H_

#include <google/protobuf/service.h>

#include <string>

namespace CmnSys::Test {

class TestController : public google::protobuf::RpcController {
 public:
  void Reset() override {
    failed_ = false;
    error_.clear();
  }
  bool Failed() const override { return failed_; }
  std::string ErrorText() const override { return error_; }
  void StartCancel() override {}
  void SetFailed(const std::string& reason) override {
    failed_ = true;
    error_ = reason;
  }
  bool IsCanceled() const override { return false; }
  void NotifyOnCancel(google::protobuf::Closure*) override {}

 private:
  bool failed_ = false;
  std::string error_;
};

class CountingClosure : public google::protobuf::Closure {
 public:
  void Run() override { ++runs; }
  int runs = 0;
};

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SUPPORT_CALLS_H_
