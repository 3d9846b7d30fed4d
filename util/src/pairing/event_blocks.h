// The blocks in which event types are numbered, one for each event category.

#ifndef CMNSYS_UTIL_SRC_PAIRING_EVENT_BLOCKS_H_
#define CMNSYS_UTIL_SRC_PAIRING_EVENT_BLOCKS_H_

namespace CmnSys::Util {

struct EventBlock {
  int first_type;
  int first_extension;
};

// In the order of the categories: the category of block N is N + 1.
inline constexpr EventBlock kEventBlocks[] = {
    {1000, 100},    // application
    {3000, 400},    // database
    {5000, 700},    // device
    {7000, 1000},   // storage
    {9000, 1300},   // system
    {11000, 1600},  // user
    {12000, 1900},  // alarm
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_PAIRING_EVENT_BLOCKS_H_
