#include "tables/field_lists.h"

namespace CmnSys::Util {

namespace {

// Destructors of static objects may still come here when those of the thread have run.
thread_local bool thread_ends = false;

struct Kept {
  ~Kept() { thread_ends = true; }

  std::vector<FieldLists::Fields> lists;
};

}  // namespace

void FieldLists::SwapWithThread() {
  if (thread_ends) return;
  thread_local Kept kept;
  spare_.swap(kept.lists);
}

}  // namespace CmnSys::Util
