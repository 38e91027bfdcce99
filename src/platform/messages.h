#pragma once
// Messages and questions: the only way the logic talks to the user.
// The desktop program shows modal boxes; the command line and the tests use HeadlessMessages.

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace zyl::platform {

inline constexpr std::string_view kDefaultTitle = "ZYL";

enum class Icon { Information, Warning, Error, Question };
enum class Answer { Ok, Yes, No, Cancel };

class Messages {
 public:
  virtual ~Messages() = default;
  /// Shows a message box; lines of a composite message are joined by '\n'.
  virtual void Show(std::string_view text, std::string_view title = kDefaultTitle,
                    Icon icon = Icon::Information) = 0;
  /// Reports an error (an error icon, same box otherwise).
  virtual void Error(std::string_view text, std::string_view title = kDefaultTitle) {
    Show(text, title, Icon::Error);
  }
  /// Asks a question with Yes and No; returns Yes or No.
  virtual Answer AskYesNo(std::string_view text, std::string_view title = kDefaultTitle) = 0;
  /// Asks a question with Yes, No and Cancel.
  virtual Answer AskYesNoCancel(std::string_view text, std::string_view title = kDefaultTitle) = 0;
  /// Asks for a line of text (for example a stream name); returns false when cancelled.
  virtual bool AskText(std::string_view prompt, std::string_view title, std::string& value) = 0;
};

/// One message or question as it was put to the user.
struct MessageRecord {
  std::string title;
  std::string text;
  Icon icon = Icon::Information;
  bool question = false;
};

/// Prints messages to stderr (unless quiet) and answers questions from a preset script.
/// When the script runs out, questions get the default answer (No unless set otherwise).
class HeadlessMessages : public Messages {
 public:
  explicit HeadlessMessages(bool print_to_stderr = true) : print_(print_to_stderr) {}

  void Show(std::string_view text, std::string_view title = kDefaultTitle,
            Icon icon = Icon::Information) override;
  Answer AskYesNo(std::string_view text, std::string_view title = kDefaultTitle) override;
  Answer AskYesNoCancel(std::string_view text, std::string_view title = kDefaultTitle) override;
  bool AskText(std::string_view prompt, std::string_view title, std::string& value) override;

  /// Answers to give, in order, to the next questions.
  void Script(std::vector<Answer> answers) { answers_.insert(answers_.end(), answers.begin(), answers.end()); }
  /// Texts to give, in order, to the next AskText calls (an empty queue cancels).
  void ScriptText(std::vector<std::string> texts) { texts_.insert(texts_.end(), texts.begin(), texts.end()); }
  void SetDefaultAnswer(Answer a) { default_answer_ = a; }

  const std::vector<MessageRecord>& Log() const { return log_; }
  /// Text of the last message or question, empty when none.
  std::string Last() const { return log_.empty() ? std::string() : log_.back().text; }
  /// True when any recorded message or question contains the given text.
  bool Saw(std::string_view fragment) const;
  void Clear() { log_.clear(); }

 private:
  Answer Next(std::string_view text, std::string_view title);

  bool print_;
  std::deque<Answer> answers_;
  std::deque<std::string> texts_;
  Answer default_answer_ = Answer::No;
  std::vector<MessageRecord> log_;
};

/// Joins lines with '\n', the layout of every composite message.
std::string JoinLines(std::initializer_list<std::string_view> lines);

}  // namespace zyl::platform
