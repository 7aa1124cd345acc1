// SPDX-License-Identifier: Apache-2.0
#include "secrets/PasswordInput.hpp"

#include <fcntl.h>
#include <iconv.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <system_error>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

constexpr char kUTF8[] = "UTF-8";
constexpr char kASCII[] = "US-ASCII";

/// iconv from a named encoding to UTF-16 of this machine.
class PasswordDecoder {
 public:
  explicit PasswordDecoder(std::string const& encoding)
      : handle_(iconv_open(std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE", encoding.c_str())) {}
  ~PasswordDecoder() {
    if (isKnown()) iconv_close(handle_);
  }
  PasswordDecoder(PasswordDecoder const&) = delete;
  PasswordDecoder& operator=(PasswordDecoder const&) = delete;

  /// Whether the bytes are text of the encoding. `out` has as many code units as there are bytes and is cut to those
  /// that are used.
  bool decode(SecretBytes const& bytes, std::u16string& out) {
    if (!isKnown()) return false;
    std::size_t const units = convert(bytes, out);
    // iconv keeps a copy in its own buffer; as many other characters overwrite it.
    std::u16string ignored(bytes.size(), u'\0');
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    convert(SecretBytes(bytes.size(), ' '), ignored);
    if (units > out.size()) return false;
    out.resize(units);
    return true;
  }

 private:
  bool isKnown() const { return handle_ != iconv_t(-1); }  // NOLINT(performance-no-int-to-ptr)

  /// The number of code units; more than `out` has if the bytes cannot be converted.
  std::size_t convert(SecretBytes const& bytes, std::u16string& out) {
    char* in = const_cast<char*>(bytes.data());  // only read
    std::size_t inLeft = bytes.size();
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t room = out.size() * sizeof(char16_t);
    bool const whole = iconv(handle_, &in, &inLeft, &to, &room) != std::size_t(-1) &&
                       iconv(handle_, nullptr, nullptr, &to, &room) != std::size_t(-1);
    return whole ? out.size() - room / sizeof(char16_t) : out.size() + 1;
  }

  iconv_t handle_;
};

// Decodes by the first encoding that fits. Refuses NUL, which would end the password in other programs.
Password decode(SecretBytes const& bytes, std::initializer_list<std::string> encodings) {
  if (bytes.empty()) throw Failure(Report{Exit::Key, "bad-password", "the password is empty", {}});
  return Password(bytes.size(), [&](std::u16string& text) {
    auto const isTextIn = [&](std::string const& encoding) { return PasswordDecoder(encoding).decode(bytes, text); };
    if (std::ranges::find(bytes, '\0') == bytes.end() && std::ranges::any_of(encodings, isTextIn)) return;
    wipe(text.data(), text.size() * sizeof(char16_t));
    throw Failure(Report{Exit::Key, "bad-password", "the password is not text in " + *(encodings.end() - 1), {}});
  });
}

// In the C locale terminals and files hold UTF-8, as elsewhere.
std::string encodingOfUser() {
  std::string const encoding = opc::getUserDefaultEncoding();
  return encoding == kASCII ? kUTF8 : encoding;
}

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

volatile std::sig_atomic_t interruption = 0;

void remember(int signal) { interruption = signal; }

[[noreturn]] void throwErrno() { throw std::system_error(errno, std::system_category()); }

sigset_t setOfSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int const signal : kSignals) sigaddset(&set, signal);
  return set;
}

/// Reads secret lines. While it lives, the signals of a terminal and those that end programs only interrupt it, so that
/// the terminal can be restored before they take effect. One object at a time.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = 4096;

  LineReader();
  ~LineReader();
  LineReader(LineReader const&) = delete;
  LineReader& operator=(LineReader const&) = delete;

  /// The signal that interrupted it, or 0 when `line` is read: without LF or CR LF, or up to the end of the file. Reads
  /// no byte beyond the line. Throws std::system_error, and Failure for a line of more than kLongestLine bytes.
  int read(int descriptor, SecretBytes& line);

 private:
  struct Replaced {
    int signal;
    struct sigaction action;
  };

  int waitFor(int descriptor) const;

  sigset_t unblocked_;
  std::vector<Replaced> replaced_;
};

// The signals are unblocked only while it waits: an earlier signal is not lost, and ends the wait at once.
LineReader::LineReader() {
  interruption = 0;
  sigset_t const set = setOfSignals();
  pthread_sigmask(SIG_BLOCK, &set, &unblocked_);
  for (int const signal : kSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;  // as nohup leaves it
    replaced_.push_back({signal, before});
    struct sigaction action {};
    action.sa_handler = remember;
    sigaction(signal, &action, nullptr);
  }
}

LineReader::~LineReader() {
  for (Replaced const& replaced : replaced_) sigaction(replaced.signal, &replaced.action, nullptr);
  pthread_sigmask(SIG_SETMASK, &unblocked_, nullptr);
}

int LineReader::waitFor(int descriptor) const {
  pollfd watched{descriptor, POLLIN, 0};
  if (ppoll(&watched, 1, nullptr, &unblocked_) < 0 && errno != EINTR) throwErrno();
  return interruption;
}

int LineReader::read(int descriptor, SecretBytes& line) {
  line.clear();
  interruption = 0;
  while (true) {
    if (int const signal = waitFor(descriptor)) return signal;
    char byte = 0;
    ssize_t const got = ::read(descriptor, &byte, 1);
    if (got < 0 && errno != EINTR) throwErrno();
    if (got == 0 || (got > 0 && byte == '\n')) break;
    if (got > 0) line.push_back(byte);
    if (line.size() > kLongestLine)
      throw Failure(Report{Exit::Key, "bad-password", "the password is longer than 4096 bytes", {}});
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return 0;
}

/// The terminal of the process, whatever its descriptors are.
class Terminal {
 public:
  Terminal() : device_(std::string("/dev/tty"), O_RDWR | O_NOCTTY) {}

  bool isThere() const { return device_.isOpen(); }
  int descriptor() const { return device_.descriptor(); }
  /// Ignores failures: input is read all the same.
  void show(std::string const& text) const {
    ssize_t const written = ::write(descriptor(), text.data(), text.size());
    static_cast<void>(written);
  }

 private:
  OpenFile device_;
};

/// Switches the echo of the terminal off while it lives. Discards earlier input.
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
  LineReader reader;  // outlives the silence, so that no signal takes effect on a silent terminal
  Silence const silence(terminal);
  if (!silence.isSilent()) throw Failure(Report{Exit::Key, "key-required", "the terminal cannot be silenced", {}});
  terminal.show(question);
  int const signal = reader.read(terminal.descriptor(), line);
  terminal.show("\n");
  return signal;
}

// A stopped process asks again when it continues; an ended one ends as without the question.
SecretBytes ask(Terminal const& terminal, std::string const& question) {
  if (!terminal.isThere())
    throw Failure(Report{Exit::Key,
                         "key-required",
                         "there is no terminal to ask for the password on (use --password-file, --password-env or "
                         "--password-fd)",
                         {}});
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

std::string questionFor(std::string const& package, PasswordUse use = PasswordUse::Existing) {
  return oneLine((use == PasswordUse::Changed ? "New password for " : "Password for ") + shown(fromArgument(package))) +
         ": ";
}

Password askForPassword(std::string const& package) { return typedPassword(ask(Terminal(), questionFor(package))); }

Password askForNewPassword(std::string const& package, PasswordUse use) {
  Terminal const terminal;
  SecretBytes const first = ask(terminal, questionFor(package, use));
  if (first.empty()) return typedPassword(first);  // which refuses it
  if (ask(terminal, "The same again: ") != first)
    throw Failure(Report{Exit::Key, "bad-password", "the two passwords are not the same", {}});
  return typedPassword(first);
}

SecretBytes firstLine(int descriptor) {
  SecretBytes line;
  while (int const signal = LineReader().read(descriptor, line)) {
    raise(signal);
    throwIfInterrupted();
  }
  return line;
}

SecretBytes lineOfFile(std::string const& argument) {
  std::u16string const path = fromArgument(argument);
  try {
    OpenFile const file(path, O_RDONLY);
    if (!file.isOpen()) throwErrno();
    warnIfOthersMayRead(file, path, "password");
    return firstLine(file.descriptor());
  } catch (std::system_error const& error) {
    throw Failure(
        diskReport("cannot-read", "cannot read", path, {error.code().value(), boost::system::system_category()}));
  }
}

SecretBytes lineOfDescriptor(int descriptor) {
  try {
    return firstLine(descriptor);
  } catch (std::system_error const& error) {
    std::string const what = "cannot read the file descriptor " + std::to_string(descriptor);
    throw Failure(Report{Exit::Disk, "cannot-read", what + ": " + error.code().message(), {}});
  }
}

// Others read the environment of a running process from the memory that is wiped here.
SecretBytes valueOfVariable(std::string const& name) {
  char* const value = std::getenv(name.c_str());
  if (!value) {
    std::string const message = "there is no variable " + shown(fromArgument(name)) + " in the environment";
    throw Failure(Report{Exit::Key, "key-required", message, {}});
  }
  SecretBytes bytes(value, value + std::strlen(value));
  wipe(value, bytes.size());
  unsetenv(name.c_str());
  return bytes;
}

}  // namespace

Password typedPassword(SecretBytes const& bytes) { return decode(bytes, {encodingOfUser()}); }
Password storedPassword(SecretBytes const& bytes) { return decode(bytes, {kUTF8, encodingOfUser()}); }

void warnIfOthersMayRead(OpenFile const& file, std::u16string const& path, char const* kind) {
  constexpr mode_t kOthers = S_IRGRP | S_IROTH;
  struct stat status {};
  if (fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode) || (status.st_mode & kOthers) == 0) return;
  warn(std::string("the ") + kind + " file " + shown(path) + " can be read by " +
       ((status.st_mode & S_IROTH) != 0 ? "all users" : "its group"));
}

bool canAskForPassword() { return Terminal().isThere(); }

Password readPassword(PasswordOptions const& options, std::string const& package, PasswordUse use) {
  leaveNoCoreFile();
  if (!options.file.empty()) return storedPassword(lineOfFile(options.file));
  if (!options.environment.empty()) return storedPassword(valueOfVariable(options.environment));
  if (options.descriptor) return storedPassword(lineOfDescriptor(*options.descriptor));
  return use == PasswordUse::Existing ? askForPassword(package) : askForNewPassword(package, use);
}

bool confirm(std::string const& question) {
  Terminal const terminal;
  if (!terminal.isThere())
    throw Failure(Report{Exit::Usage, "usage", "there is no terminal to ask on (use --force)", {}});
  SecretBytes answer;
  terminal.show(oneLine(question) + " [y/N] ");
  while (int const signal = LineReader().read(terminal.descriptor(), answer)) {
    raise(signal);
    throwIfInterrupted();
  }
  return answer.size() <= 3 && !answer.empty() && (answer.front() == 'y' || answer.front() == 'Y');
}

}  // namespace ztpkg
