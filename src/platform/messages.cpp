#include "platform/messages.h"

#include <cstdio>

namespace zyl::platform {

namespace {
const char* IconName(Icon icon) {
  switch (icon) {
    case Icon::Information: return "";
    case Icon::Warning: return "warning: ";
    case Icon::Error: return "error: ";
    case Icon::Question: return "question: ";
  }
  return "";
}
}  // namespace

void HeadlessMessages::Show(std::string_view text, std::string_view title, Icon icon) {
  log_.push_back({std::string(title), std::string(text), icon, false});
  if (print_) std::fprintf(stderr, "%s%.*s\n", IconName(icon), static_cast<int>(text.size()), text.data());
}

Answer HeadlessMessages::Next(std::string_view text, std::string_view title) {
  log_.push_back({std::string(title), std::string(text), Icon::Question, true});
  Answer a = default_answer_;
  if (!answers_.empty()) {
    a = answers_.front();
    answers_.pop_front();
  }
  if (print_) {
    const char* name = a == Answer::Yes ? "Yes" : a == Answer::No ? "No" : a == Answer::Cancel ? "Cancel" : "Ok";
    std::fprintf(stderr, "question: %.*s -> %s\n", static_cast<int>(text.size()), text.data(), name);
  }
  return a;
}

Answer HeadlessMessages::AskYesNo(std::string_view text, std::string_view title) {
  Answer a = Next(text, title);
  return a == Answer::Yes ? Answer::Yes : Answer::No;
}

Answer HeadlessMessages::AskYesNoCancel(std::string_view text, std::string_view title) {
  Answer a = Next(text, title);
  return a == Answer::Ok ? Answer::Yes : a;
}

bool HeadlessMessages::AskText(std::string_view prompt, std::string_view title, std::string& value) {
  log_.push_back({std::string(title), std::string(prompt), Icon::Question, true});
  if (texts_.empty()) return false;
  value = texts_.front();
  texts_.pop_front();
  return true;
}

bool HeadlessMessages::Saw(std::string_view fragment) const {
  for (const auto& m : log_)
    if (m.text.find(fragment) != std::string::npos) return true;
  return false;
}

std::string JoinLines(std::initializer_list<std::string_view> lines) {
  std::string out;
  for (auto l : lines) {
    if (!out.empty()) out += '\n';
    out += l;
  }
  return out;
}

}  // namespace zyl::platform
