#ifndef CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <utility>
#include <vector>

#include "json/json_lexer.h"
#include "text/field_path.h"

namespace CmnSys::Util {

// The fields that are being read or written, outermost first.
class JsonPath {
 public:
  void Push(const google::protobuf::FieldDescriptor* field) {
    steps_.push_back({field, -1, false});
  }
  void Pop() {
    if (steps_.back().in_map) keys_.pop_back();
    steps_.pop_back();
  }
  void Clear() {
    steps_.clear();
    keys_.clear();
  }

  // Which element of the last field is at hand, or which entry of a map.
  void SetIndex(int index) { steps_.back().index = index; }
  void SetKey(std::string key) {
    if (!std::exchange(steps_.back().in_map, true)) keys_.emplace_back();
    keys_.back() = std::move(key);
  }
  int index() const { return steps_.back().index; }

  // "arguments[1].iota_u32.val", "[Pb.CmnSys.Maps.geometryPoint]", "labels["en"]".
  std::string Text() const {
    std::string text;
    auto key = keys_.begin();
    for (const Step& step : steps_) {
      AppendField(*step.field, &text);
      if (step.index >= 0) AppendIndex(step.index, &text);
      if (step.in_map) text += "[" + Quoted(*key++) + "]";
    }
    return text;
  }

 private:
  struct Step {
    const google::protobuf::FieldDescriptor* field;
    int index;  // -1 unless an element is at hand.
    bool in_map;
  };

  std::vector<Step> steps_;
  std::vector<std::string> keys_;  // Of the steps that are in a map.
};

// A step of the path for as long as it lives.
class JsonPathStep {
 public:
  JsonPathStep(JsonPath* path, const google::protobuf::FieldDescriptor* field) : path_(path) {
    path_->Push(field);
  }
  ~JsonPathStep() { path_->Pop(); }
  JsonPathStep(const JsonPathStep&) = delete;
  JsonPathStep& operator=(const JsonPathStep&) = delete;

 private:
  JsonPath* path_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_PATH_H_
