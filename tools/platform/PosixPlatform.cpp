#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "platform/Platform.h"
#include "platform/Shared.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): not on every system

namespace platform {

namespace {

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    sigaddset(&signals, signal);
  }
  return signals;
}

std::string temporaryFolder() {
  const char* const folder = std::getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

/// A new temporary file for reading and writing, without a name.
Descriptor createNamelessFile() {
  std::string path = temporaryFolder() + "/kestrel7-XXXXXX";
  Descriptor file(::mkstemp(path.data()));
  if (file.get() < 0) {
    failCopying(words(errno));
  }
  ::unlink(path.c_str());
  ::fcntl(file.get(), F_SETFD, FD_CLOEXEC);
  return file;
}

/// What `posix_spawn` does with the descriptors of the child.
class SpawnActions {
 public:
  SpawnActions() { ::posix_spawn_file_actions_init(&actions); }
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  void duplicate(int from, int to) { ::posix_spawn_file_actions_adddup2(&actions, from, to); }
  void openNull(int to, int mode) {
    ::posix_spawn_file_actions_addopen(&actions, to, "/dev/null", mode, 0);
  }
  const posix_spawn_file_actions_t* get() const { return &actions; }

 private:
  posix_spawn_file_actions_t actions{};
};

}  // namespace

void failCopying(const std::string& reason) {
  throw InputFault("it can't be copied to " + temporaryFolder() + " (" + reason + ")",
                   "set TMPDIR to a folder with room for it");
}

void holdStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) < 0 && errno == EBADF) {
      // The lowest free descriptor is this one; its mode is the one that does not work.
      static_cast<void>(::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
  }
}

void ignoreWriteSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void leaveNoCoreDump() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
}

bool standardInputIs(const std::string& path) {
  struct stat input = {};
  struct stat file = {};
  return ::fstat(STDIN_FILENO, &input) == 0 && ::stat(path.c_str(), &file) == 0 &&
         input.st_dev == file.st_dev && input.st_ino == file.st_ino;
}

bool mayWriteIn(const std::string& folder) { return ::access(folder.c_str(), W_OK | X_OK) == 0; }

std::FILE* createNewFile(const std::string& path) { return std::fopen(path.c_str(), "wbx"); }

std::string ownProgram() {
#ifdef __APPLE__
  std::array<char, PATH_MAX> path{};
  std::uint32_t size = path.size();
  return ::_NSGetExecutablePath(path.data(), &size) == 0 ? path.data() : "";
#else
  return "/proc/self/exe";
#endif
}

SignalsLater::SignalsLater() {
  const sigset_t signals = endingSignals();
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
}

SignalsLater::~SignalsLater() {
  const sigset_t signals = endingSignals();
  ::sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

int Descriptor::duplicate() const { return ::fcntl(fd, F_DUPFD_CLOEXEC, 0); }

SilentStandardError::SilentStandardError() : original(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  const Descriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::dup2(null.get(), STDERR_FILENO);
}

SilentStandardError::~SilentStandardError() { ::dup2(original.get(), STDERR_FILENO); }

InputFile openInput(const std::string& path) {
  const bool isStandardInput = path == "-";
  Descriptor file(isStandardInput ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                  : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat properties = {};
  if (file.get() < 0 || ::fstat(file.get(), &properties) != 0) {
    throw InputFault(words(errno), "look at its path and its permissions");
  }
  if (S_ISDIR(properties.st_mode)) {
    throw InputFault("it is a folder", "name a file in it");
  }
  // Many never end.
  if (S_ISCHR(properties.st_mode) || S_ISBLK(properties.st_mode)) {
    throw InputFault("it is a device", "record it to a file and name that");
  }
  // Standard input may have been read in part, and others share its position.
  if (S_ISREG(properties.st_mode) && !isStandardInput) {
    return {std::move(file), false};
  }
  Descriptor copy = createNamelessFile();
  copyInput(file.get(), copy.get());
  return {std::move(copy), true};
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Descriptor& input) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    failWithErrno();
  }
  output = Descriptor(ends[0]);
  const Descriptor inputOfPipe(ends[1]);
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }

  SpawnActions actions;
  if (input.get() >= 0) {
    actions.duplicate(input.get(), STDIN_FILENO);
  } else {
    actions.openNull(STDIN_FILENO, O_RDONLY);
  }
  actions.duplicate(inputOfPipe.get(), STDOUT_FILENO);
  actions.openNull(STDERR_FILENO, O_WRONLY);

  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t child = -1;
  const int error =
      ::posix_spawnp(&child, arguments.front(), actions.get(), nullptr, arguments.data(), environ);
  if (error != 0) {
    failWith(error);
  }
  process = child;
}

ChildEnd ChildProcess::wait() {
  int status = 0;
  while (::waitpid(static_cast<pid_t>(process), &status, 0) < 0 && errno == EINTR) {
  }
  process = -1;
  if (WIFSIGNALED(status)) {
    return {.signal = WTERMSIG(status)};
  }
  return {.status = WEXITSTATUS(status)};
}

}  // namespace platform
