#ifndef CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <utility>
#include <vector>

#include "json/json_lexer.h"
#include "text/field_path.h"

namespace CmnSys::Util {

class JsonPathStep;

// The fields that are being read or written.
class JsonPath {
 public:
  // Which element of the last field is at hand, or which entry of a map.
  inline void SetIndex(int index);
  inline void SetKey(std::string key);

  // "arguments[1].iota_u32.val", "[Pb.CmnSys.Maps.geometryPoint]", "labels["en"]".
  inline std::string Text() const;

 private:
  friend class JsonPathStep;
  JsonPathStep* last_ = nullptr;
  std::vector<std::string> keys_;  // Of the steps that are in a map.
};

// A step of the path for as long as it lives.
class JsonPathStep {
 public:
  JsonPathStep(JsonPath* path, const google::protobuf::FieldDescriptor* field)
      : path_(path), before_(path->last_), field_(field) {
    path->last_ = this;
  }
  ~JsonPathStep() {
    if (in_map_) path_->keys_.pop_back();
    path_->last_ = before_;
  }
  JsonPathStep(const JsonPathStep&) = delete;
  JsonPathStep& operator=(const JsonPathStep&) = delete;

 private:
  friend class JsonPath;
  JsonPath* path_;
  JsonPathStep* before_;
  const google::protobuf::FieldDescriptor* field_;
  int index_ = -1;  // Unless an element is at hand.
  bool in_map_ = false;
};

void JsonPath::SetIndex(int index) { last_->index_ = index; }

void JsonPath::SetKey(std::string key) {
  if (!std::exchange(last_->in_map_, true)) keys_.emplace_back();
  keys_.back() = std::move(key);
}

std::string JsonPath::Text() const {
  std::vector<const JsonPathStep*> steps;
  for (const JsonPathStep* step = last_; step != nullptr; step = step->before_) {
    steps.push_back(step);
  }
  std::string text;
  auto key = keys_.begin();
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    AppendField(*(*step)->field_, &text);
    if ((*step)->index_ >= 0) AppendIndex((*step)->index_, &text);
    if ((*step)->in_map_) text += "[" + Quoted(*key++) + "]";
  }
  return text;
}

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_
