#include "text/name_search.h"

#include <algorithm>
#include <utility>

namespace CmnSys::Util {
namespace {

// Queries beyond this are no slips of a finger; comparing them would only cost time.
constexpr std::size_t kLongestComparedQuery = 200;

std::string Lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::string_view LastPart(std::string_view name) { return name.substr(name.rfind('.') + 1); }

// Optimal string alignment distance: insertions, deletions, replacements and swaps of neighbours.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before_last(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before_last[j - 2] + 1);
      }
    }
    std::swap(before_last, last);
    std::swap(last, row);
  }
  return last[b.size()];
}

}  // namespace

std::vector<std::string> MatchingNames(const std::vector<std::string>& names,
                                       std::string_view query) {
  std::vector<std::string> endings;
  for (const std::string& name : names) {
    if (name == query) return {name};
    if (query.empty() || name.size() <= query.size()) continue;
    const std::size_t start = name.size() - query.size();
    const bool at_a_part = name[start - 1] == '.' || name[start - 1] == '/';
    if (at_a_part && name.compare(start, query.size(), query) == 0) endings.push_back(name);
  }
  return endings;
}

std::vector<std::string> NearestNames(const std::vector<std::string>& names, std::string_view query,
                                      std::size_t limit) {
  if (query.empty() || query.size() > kLongestComparedQuery) return {};
  const std::string wanted = Lower(query);
  const std::string_view wanted_part = LastPart(wanted);
  const std::size_t bound = std::max<std::size_t>(2, wanted_part.size() / 3);

  struct Candidate {
    std::size_t nearness;
    std::size_t whole;  // Of names equally near, the one that is right in more parts comes first.
    const std::string* name;
  };
  std::vector<Candidate> near;
  for (const std::string& name : names) {
    const std::string candidate = Lower(name);
    const std::size_t whole = Distance(wanted, candidate);
    const std::size_t nearness = std::min(whole, Distance(wanted_part, LastPart(candidate)));
    if (nearness <= bound) near.push_back({nearness, whole, &name});
  }
  std::stable_sort(near.begin(), near.end(), [](const Candidate& a, const Candidate& b) {
    return std::pair(a.nearness, a.whole) < std::pair(b.nearness, b.whole);
  });

  std::vector<std::string> result;
  for (std::size_t i = 0; i < near.size() && i < limit; ++i) result.push_back(*near[i].name);
  return result;
}

}  // namespace CmnSys::Util
