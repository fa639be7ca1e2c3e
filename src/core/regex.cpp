#include "core/regex.h"

namespace quelmo {

bool Regex::compile(std::string_view pattern, int flags, std::string& error) {
  compiled_.reset();
  auto fresh = std::make_unique<regex_t>();
  int code = ::regcomp(fresh.get(), std::string(pattern).c_str(), REG_EXTENDED | flags);
  if (code != 0) {
    char text[100];
    ::regerror(code, fresh.get(), text, sizeof text);
    error = text;
    return false;
  }
  compiled_ = std::shared_ptr<const regex_t>(fresh.release(), [](const regex_t* compiled) {
    ::regfree(const_cast<regex_t*>(compiled));
    delete compiled;
  });
  return true;
}

std::optional<std::string_view> Regex::find(std::string_view text) const {
  if (!compiled_) return std::nullopt;
  // The start and end of the text are given in pmatch, so that it needs no NUL and may hold some.
  regmatch_t span = {.rm_so = 0, .rm_eo = static_cast<regoff_t>(text.size())};
  const char* start = text.data() != nullptr ? text.data() : "";
  if (::regexec(compiled_.get(), start, 1, &span, REG_STARTEND) != 0) return std::nullopt;
  return text.substr(static_cast<size_t>(span.rm_so), static_cast<size_t>(span.rm_eo - span.rm_so));
}

}  // namespace quelmo
