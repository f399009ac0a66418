#include "server/console/line_editor.h"

#include <histedit.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <stdexcept>
#include <utility>

namespace ncdm::console {
namespace {

constexpr int kHistorySize = 1000;
constexpr wchar_t kKillLine = L'\x15';  // ^U

}  // namespace

class LineEditor::Implementation {
 public:
  Implementation(Callbacks callbacks, std::string history_file)
      : callbacks_(std::move(callbacks)),
        history_file_(std::move(history_file)),
        history_(history_init()),
        editor_(el_init("ncdm-console", stdin, stdout, stderr)) {
    if (history_ == nullptr || editor_ == nullptr) {
      Release();
      throw std::runtime_error("cannot set up line editing");
    }
    HistEvent event{};
    history(history_, &event, H_SETSIZE, kHistorySize);
    history(history_, &event, H_SETUNIQUE, 1);
    if (!history_file_.empty()) {
      history(history_, &event, H_LOAD, history_file_.c_str());
    }
    el_set(editor_, EL_CLIENTDATA, this);
    el_set(editor_, EL_PROMPT, &Prompt);
    el_set(editor_, EL_EDITOR, "emacs");
    el_set(editor_, EL_HIST, history, history_);
    el_set(editor_, EL_GETCFN, &GetCharacter);
    // By its wide form: the narrow one copies the two texts and loses the copies.
    el_wset(editor_, EL_ADDFN, L"ncdm-complete", L"complete a command or a path", &CompleteKey);
    el_set(editor_, EL_BIND, "^I", "ncdm-complete", nullptr);
    el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor_, nullptr);
  }

  ~Implementation() {
    HistEvent event{};
    if (!history_file_.empty()) {
      history(history_, &event, H_SAVE, history_file_.c_str());
    }
    Release();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  std::optional<std::string> Next() {
    prompt_ = callbacks_.prompt();
    int length = 0;
    reads_ = true;
    const char* text = el_gets(editor_, &length);
    reads_ = false;
    if (text == nullptr || length <= 0) {
      std::fputs("\n", stdout);
      return std::nullopt;
    }
    std::string line(text, static_cast<std::size_t>(length));
    while (line.ends_with('\n') || line.ends_with('\r')) {
      line.pop_back();
    }
    if (line.find_first_not_of(" \t") != std::string::npos) {
      HistEvent event{};
      history(history_, &event, H_ENTER, line.c_str());
    }
    return line;
  }

  void Say(const std::string& line) {
    if (!reads_) {
      std::fprintf(stderr, "%s\n", line.c_str());
      return;
    }
    // Over the prompt, which follows again below.
    std::fprintf(stdout, "\r\x1b[K%s\n", line.c_str());
    std::fflush(stdout);
    el_set(editor_, EL_REFRESH);
  }

 private:
  void Release() {
    if (editor_ != nullptr) {
      el_end(editor_);
    }
    if (history_ != nullptr) {
      history_end(history_);
    }
  }

  static Implementation* Of(EditLine* editor) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return static_cast<Implementation*>(data);
  }

  static char* Prompt(EditLine* editor) { return Of(editor)->prompt_.data(); }

  // One character of the terminal: 1, 0 at its end. The rest of the program runs while nothing is
  // typed.
  static int GetCharacter(EditLine* editor, wchar_t* character) {
    std::mbstate_t state{};
    for (;;) {
      char byte = 0;
      switch (Of(editor)->callbacks_.wait(STDIN_FILENO)) {
        case WaitResult::kReady:
          break;
        case WaitResult::kInterrupted:
          *character = kKillLine;  // what was typed so far is not wanted
          return 1;
        case WaitResult::kEnd:
          return 0;
      }
      const ssize_t count = read(STDIN_FILENO, &byte, 1);
      if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        continue;
      }
      if (count <= 0) {
        return 0;
      }
      switch (std::mbrtowc(character, &byte, 1, &state)) {
        case static_cast<std::size_t>(-2):
          break;  // more bytes follow
        case static_cast<std::size_t>(-1):
          state = {};  // no character of this locale
          break;
        default:
          return 1;
      }
    }
  }

  static unsigned char CompleteKey(EditLine* editor, int /*key*/) {
    return Of(editor)->CompleteLine();
  }

  unsigned char CompleteLine() {
    const LineInfo* info = el_line(editor_);
    const std::string_view line(info->buffer,
                                static_cast<std::size_t>(info->cursor - info->buffer));
    const Completion completion = callbacks_.complete(line);
    if (completion.candidates.empty()) {
      return CC_REFRESH_BEEP;
    }
    const std::string_view typed = line.substr(completion.begin);
    std::string more = completion.CommonPrefix().substr(typed.size());
    if (completion.candidates.size() == 1) {
      more += completion.candidates.front().suffix;
    }
    if (!more.empty()) {
      return el_insertstr(editor_, more.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
    }
    if (completion.candidates.size() == 1) {
      return CC_REFRESH_BEEP;
    }
    std::fputs("\n", stdout);
    for (const Candidate& candidate : completion.candidates) {
      std::fprintf(stdout, "%s\n", candidate.text.c_str());
    }
    std::fflush(stdout);
    return CC_REDISPLAY;
  }

  Callbacks callbacks_;
  std::string history_file_;
  std::string prompt_;
  bool reads_ = false;  // a line is being typed
  History* history_;
  EditLine* editor_;
};

LineEditor::LineEditor(Callbacks callbacks, std::string history_file)
    : implementation_(
          std::make_unique<Implementation>(std::move(callbacks), std::move(history_file))) {}

LineEditor::~LineEditor() = default;

void LineEditor::Say(const std::string& line) { implementation_->Say(line); }

std::optional<std::string> LineEditor::Next() { return implementation_->Next(); }

}  // namespace ncdm::console
