#include "CmnSys/Rpc/Observer.h"

namespace CmnSys::Rpc {

Observer::~Observer() = default;
void Observer::OnCallEnd(const CallEnd& /*end*/) {}
void Observer::OnEvent(const Event& /*event*/) {}

}  // namespace CmnSys::Rpc
