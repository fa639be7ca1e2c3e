// What a script function sees of the call that runs it. No type of the interpreter's stands here; the door
// between the two is src/perl/script_call.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quelmo {

class ScriptCall {
 public:
  /// `frame` belongs to the door.
  ScriptCall(const char* label, int count, void* frame) : label_(label), count_(count), frame_(frame) {}
  ScriptCall(const ScriptCall&) = delete;
  ScriptCall& operator=(const ScriptCall&) = delete;

  /// Name of the function in its messages.
  const char* label() const { return label_; }
  /// Number of arguments; the table of functions has checked it.
  int count() const { return count_; }

  /// The bytes of argument `i`, up to its first NUL; empty for undef and for an argument that wasn't given. A
  /// wide character counts as `?`.
  std::string text(int i) const;

  /// The elements of the array that argument `i` refers to, as `text` gives them. False if it is no reference
  /// to an array.
  bool array(int i, std::vector<std::string>& elements) const;

  // The result; the last call counts. A function that gives none returns undef.
  void give(std::string_view bytes);
  void give_number(int64_t number);
  /// A list of strings; without any, one undef.
  void give_list(const std::vector<std::string>& bytes);
  /// An empty list.
  void give_nothing();

 private:
  const char* label_;
  int count_;
  void* frame_;
};

/// The elements of the script's package array `name` ("main::lines"), as `ScriptCall::text` gives them;
/// elements that don't exist count as empty. False if there is no such array, or no script runs.
bool script_array(const std::string& name, std::vector<std::string>& elements);

}  // namespace quelmo
