// SPDX-License-Identifier: Apache-2.0
#include "secrets/PasswordPrompt.hpp"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "secrets/LineReader.hpp"
#include "secrets/PasswordText.hpp"

namespace ztpkg {
namespace {

OpenFile openTerminal() { return OpenFile(std::string("/dev/tty"), O_RDWR | O_NOCTTY); }

/// The terminal that the process belongs to, whatever its descriptors are.
class Terminal {
 public:
  Terminal() : file_(openTerminal()) {
    if (!file_.isOpen())
      throw Failure(Report{Exit::Key,
                           "key-required",
                           "there is no terminal to ask for the password on (use --password-file, --password-env or "
                           "--password-fd)",
                           {}});
  }

  int descriptor() const { return file_.descriptor(); }
  /// A terminal that takes no text shows nothing; what is typed is read all the same.
  void show(std::string const& text) const {
    ssize_t const written = ::write(file_.descriptor(), text.data(), text.size());
    static_cast<void>(written);
  }

 private:
  OpenFile file_;
};

/// While it lives the terminal shows nothing of what is typed, and forgets what was typed before.
class Silence {
 public:
  explicit Silence(Terminal const& terminal) : descriptor_(terminal.descriptor()) {
    if (tcgetattr(descriptor_, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~tcflag_t{ECHO | ECHOE | ECHOK | ECHONL};
    silent.c_lflag |= tcflag_t{ICANON | ISIG};
    isSilent_ = tcsetattr(descriptor_, TCSAFLUSH, &silent) == 0;
  }
  ~Silence() {
    if (isSilent_) tcsetattr(descriptor_, TCSAFLUSH, &before_);
  }
  Silence(Silence const&) = delete;
  Silence& operator=(Silence const&) = delete;

  bool isSilent() const { return isSilent_; }

 private:
  int descriptor_;
  termios before_{};
  bool isSilent_ = false;
};

int readSilently(Terminal const& terminal, std::string const& question, SecretBytes& line) {
  LineReader reader;  // outlives the silence, so that no signal finds the terminal silent
  Silence const silence(terminal);
  if (!silence.isSilent()) throw Failure(Report{Exit::Key, "key-required", "the terminal cannot be silenced", {}});
  terminal.show(question);
  int const signal = reader.read(terminal.descriptor(), line);
  terminal.show("\n");
  return signal;
}

// A process that was stopped asks again when it goes on; one that is to end, ends as it would have without asking.
SecretBytes ask(Terminal const& terminal, std::string const& question) {
  SecretBytes line;
  line.reserve(LineReader::kLongestLine);
  while (int const signal = readSilently(terminal, question, line)) {
    line.clear();
    line.shrink_to_fit();
    raise(signal);
    throwIfInterrupted();
  }
  return line;
}

std::string questionFor(std::string const& package) {
  return oneLine("Password for " + shown(fromArgument(package))) + ": ";
}

}  // namespace

bool canAskForPassword() { return openTerminal().isOpen(); }

Password askForPassword(std::string const& package) { return typedPassword(ask(Terminal(), questionFor(package))); }

Password askForNewPassword(std::string const& package) {
  Terminal const terminal;
  SecretBytes const first = ask(terminal, questionFor(package));
  if (first.empty()) return typedPassword(first);  // which refuses it
  if (ask(terminal, "The same again: ") != first)
    throw Failure(Report{Exit::Key, "bad-password", "the two passwords are not the same", {}});
  return typedPassword(first);
}

}  // namespace ztpkg
