#ifndef CMNSYS_TESTS_COMPILER_STOCK_ROUTINES_H_
#define CMNSYS_TESTS_COMPILER_STOCK_ROUTINES_H_

// What the routines of the stock library saw when the importing file called them. Plain data: the
// calls come before dynamic initialization has reached this program.
struct RoutineCall {
  const char* file;
  bool importer_was_registered;
};

extern RoutineCall stock_routine_calls[8];
extern int stock_routine_call_count;

#endif  // CMNSYS_TESTS_COMPILER_STOCK_ROUTINES_H_
