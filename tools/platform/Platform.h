#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// What the programs need of the system beyond the standard library.
namespace platform {

/// What the system says of a value of errno.
std::string words(int error);

/// Opens what is closed of standard input, output and error, so that no file takes their place.
/// Reading from or writing to what was closed fails as before.
void holdStandardStreams();

/// Makes writing to a closed pipe or past a limit of size fail instead of ending the process.
void ignoreWriteSignals();

/// Keeps a crash of this process from leaving a memory image behind.
void leaveNoCoreDump();

bool standardErrorIsTerminal();

/// Whether standard input is read from the file at `path`.
bool standardInputIs(const std::string& path);

/// Whether files may be created in `folder`.
bool mayWriteIn(const std::string& folder);

/// Creates the file at `path` for writing. Returns null and sets errno on failure; EEXIST says that
/// it is there already.
std::FILE* createNewFile(const std::string& path);

/// The path of the running program's own file, to be started again.
std::string ownProgram();

/// Holds back requests to end the process as long as it lives.
class SignalsLater {
 public:
  SignalsLater();
  ~SignalsLater();
  SignalsLater(const SignalsLater&) = delete;
  SignalsLater& operator=(const SignalsLater&) = delete;
};

/// An open file descriptor, or -1; closed with its owner.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : fd(descriptor) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }

  int get() const { return fd; }

  /// Another descriptor of the same open file, which the caller closes; -1 where there is none.
  int duplicate() const;

 private:
  int fd = -1;
};

/// Drops what is written to standard error as long as it lives, for libraries that write there.
class SilentStandardError {
 public:
  SilentStandardError();
  ~SilentStandardError();
  SilentStandardError(const SilentStandardError&) = delete;
  SilentStandardError& operator=(const SilentStandardError&) = delete;

 private:
  Descriptor original;
};

/// A file that is open for reading.
struct InputFile {
  Descriptor descriptor;
  bool isCopy = false;  // a temporary file without a name
};

/// Why a file can't be opened for reading, and what to do about it.
class InputFault : public std::runtime_error {
 public:
  InputFault(const std::string& reason, std::string whatToDo)
      : std::runtime_error(reason), remedy(std::move(whatToDo)) {}

  const std::string remedy;
};

/// Opens the file at `path`, or standard input for "-". What has no beginning to go back to, such
/// as a pipe, is copied to a temporary file first, up to 4 GiB. Throws InputFault; a device is no
/// file.
InputFile openInput(const std::string& path);

/// How a child process ended.
struct ChildEnd {
  int status = 0;  // exit status, where no signal ended it
  int signal = 0;  // the number of the signal that ended it, 0 for none
};

/// Another program whose standard output is read and whose standard error is dropped.
class ChildProcess {
 public:
  /// Starts `command`: the name of the program, searched for in PATH unless it has a "/", and its
  /// arguments. Its standard input is `input`, or empty where that is none. Throws
  /// std::system_error, with std::errc::no_such_file_or_directory where there is no such program.
  explicit ChildProcess(const std::vector<std::string>& command, const Descriptor& input = {});

  /// Waits for the end of a child that nobody has waited for; its output is cut off.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Reads `size` bytes of the output, fewer only at its end. Throws std::system_error.
  std::size_t read(char* bytes, std::size_t size);

  /// Waits for the end. Called once, after all output has been read.
  ChildEnd wait();

 private:
  Descriptor output;
  std::intptr_t process = -1;
};

}  // namespace platform
