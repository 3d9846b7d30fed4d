#include "words.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace CmnSys::SchemaGuard {

namespace {

bool IsUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
bool IsLower(char c) { return std::islower(static_cast<unsigned char>(c)) != 0; }
bool IsWordCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// Whether a new word of a name begins at text[i]: deviceGid, PTZPreset.
bool BeginsWord(std::string_view text, std::size_t i) {
  if (i == 0 || !IsUpper(text[i])) return false;
  return IsLower(text[i - 1]) ||
         (IsUpper(text[i - 1]) && i + 1 < text.size() && IsLower(text[i + 1]));
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

// The text's parts of letters, digits and underscores.
std::vector<std::string_view> Identifiers(std::string_view text) {
  std::vector<std::string_view> parts;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && (IsWordCharacter(text[i]) || text[i] == '_')) continue;
    if (i > begin) parts.push_back(text.substr(begin, i - begin));
    begin = i + 1;
  }
  return parts;
}

bool IsConstant(std::string_view identifier) {
  return identifier.find('_') != std::string_view::npos &&
         std::none_of(identifier.begin(), identifier.end(), IsLower);
}

void AddTopic(std::string word, std::set<std::string>* topics) {
  static const auto* const no_topic = new std::set<std::string>{
      "a",     "all", "an",   "and", "are",  "as",  "at",   "by",    "each", "enum",
      "field", "for", "in",   "is",  "it",   "its", "kind", "of",    "on",   "one",
      "or",    "s",   "that", "the", "this", "to",  "type", "value", "with", "message"};
  static const auto* const written_out = new std::map<std::string, std::string>{
      {"answer", "response"}, {"list", "vect"}, {"req", "request"}, {"rsp", "response"}};
  if (word.size() > 3 && word.back() == 's') word.pop_back();
  const auto found = written_out->find(word);
  if (found != written_out->end()) word = found->second;
  if (no_topic->count(word) == 0) topics->insert(word);
}

}  // namespace

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((!IsWordCharacter(text[i]) || BeginsWord(text, i)) && !words.back().empty()) {
      words.emplace_back();
    }
    if (IsWordCharacter(text[i])) words.back() += Lower(text.substr(i, 1));
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::set<std::string> Topics(std::string_view text) {
  std::set<std::string> topics;
  for (const std::string_view identifier : Identifiers(text)) {
    if (IsConstant(identifier)) {
      topics.insert(Lower(identifier));
    } else {
      for (std::string& word : Words(identifier)) AddTopic(std::move(word), &topics);
    }
  }
  return topics;
}

std::set<std::string> NameTopics(std::string_view name) {
  std::set<std::string> topics;
  for (std::string& word : Words(name)) AddTopic(std::move(word), &topics);
  return topics;
}

}  // namespace CmnSys::SchemaGuard
