#ifndef CMNSYS_TESTS_VIEWS_MUTATION_H_
#define CMNSYS_TESTS_VIEWS_MUTATION_H_

#include <random>
#include <string>

namespace CmnSys::Test {

// Bytes made of those of a message by changes that a parser has to know about: fields in another
// order, twice, left out, split into two, of another wire type, with longer numbers than needed,
// with unknown fields and groups between them; at any depth. Some changes leave a message, others
// do not.
std::string Mutate(const std::string& message, std::mt19937* random, int depth = 0);

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_VIEWS_MUTATION_H_
