// The one way the tool chains steps that return codes: the first non-zero
// code wins, and once a step has failed the later steps do not run (so a
// failure is reported once, by the step that met it).
#pragma once

#include <cstdint>
#include <utility>

namespace kestrand {

class CFirstCode {
 public:
  CFirstCode() = default;
  explicit CFirstCode(uint32_t code) : code_(code) {}

  // Runs `step`, a callable returning a code, while no step has failed.
  template <typename Step>
  CFirstCode& Then(Step&& step) {
    if (code_ == 0) code_ = static_cast<uint32_t>(std::forward<Step>(step)());
    return *this;
  }
  // Keeps `code`, already computed, when no earlier step has failed.
  CFirstCode& Keep(uint32_t code) {
    if (code_ == 0) code_ = code;
    return *this;
  }

  bool Failed() const { return code_ != 0; }
  uint32_t Code() const { return code_; }

 private:
  uint32_t code_ = 0;
};

}  // namespace kestrand
