#include "support/Process.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "support/Files.h"

namespace {

constexpr int cannotStart = 127;
constexpr int ordinaryUser = 65534;  // nobody
constexpr int mostInheritedFiles = 1024;

void limit(decltype(RLIMIT_AS) resource, long most) {
  if (most > 0) {
    const auto value = static_cast<rlim_t>(most);
    const rlimit limits{value, value};
    setrlimit(resource, &limits);
  }
}

void redirect(int descriptor, const std::string& path, int mode) {
  const int file = open(path.c_str(), mode, 0666);
  if (file != descriptor) {
    dup2(file, descriptor);
    close(file);
  }
}

void redirectToFile(int descriptor, const std::string& path) {
  redirect(descriptor, path, O_WRONLY | O_CREAT | O_TRUNC);
}

void redirectStandardOutput(StandardOutput kind, const std::string& capturePath) {
  int ends[2];
  switch (kind) {
    case StandardOutput::Captured:
      redirectToFile(STDOUT_FILENO, capturePath);
      break;
    case StandardOutput::Closed:
      close(STDOUT_FILENO);
      break;
    case StandardOutput::FullDevice:
      redirectToFile(STDOUT_FILENO, "/dev/full");
      break;
    case StandardOutput::PipeNobodyReads:
      if (pipe(ends) == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
      }
      break;
  }
}

/// Takes back what the test's own environment may have changed: ignored signals and open files.
void forgetInheritance() {
  for (int number = 1; number < NSIG; ++number) {
    std::signal(number, SIG_DFL);
  }
  for (int descriptor = STDERR_FILENO + 1; descriptor < mostInheritedFiles; ++descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
}

void setEnvironment(const std::vector<std::string>& variables) {
  for (const std::string& variable : variables) {
    const std::size_t equals = variable.find('=');
    setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
  }
}

/// Gives a program that counts its coverage a place for the counts; an ordinary user can't write
/// them to where it was built.
void divertCoverage(const TemporaryFolder& captures) {
  const std::string counts = captures / "coverage";
  mkdir(counts.c_str(), 0);
  chmod(counts.c_str(), 0777);
  chmod(captures.path().c_str(), 0711);
  setenv("GCOV_PREFIX", counts.c_str(), 1);
}

/// A copy of `program`, which may be one that only root may run.
std::string copyForAnyone(const std::string& program, const TemporaryFolder& captures) {
  const std::string copy = captures / "program";
  std::filesystem::copy_file(program, copy);
  std::filesystem::permissions(copy, std::filesystem::perms{0755});
  return copy;
}

bool dropRoot() {
  return geteuid() != 0 ||
         (setgroups(0, nullptr) == 0 && setgid(ordinaryUser) == 0 && setuid(ordinaryUser) == 0);
}

[[noreturn]] void startProgram(std::vector<std::string> command, const ProcessOptions& options,
                               const TemporaryFolder& captures) {
  // Opened before root is dropped, the program may lie in a folder that only root may enter.
  const std::string path =
      options.asOrdinaryUser ? copyForAnyone(command.front(), captures) : command.front();
  const int program = fcntl(open(path.c_str(), O_PATH), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
  redirectToFile(STDERR_FILENO, captures / "errors");
  redirectStandardOutput(options.standardOutput, captures / "output");
  forgetInheritance();
  setEnvironment(options.environment);
  if (options.asOrdinaryUser) {
    divertCoverage(captures);
  }
  limit(RLIMIT_AS, options.addressSpace);
  limit(RLIMIT_FSIZE, options.largestFile);
  if (options.ignoreFileSizeSignal) {
    std::signal(SIGXFSZ, SIG_IGN);
  }
  limit(RLIMIT_NOFILE, options.openFiles);
  limit(RLIMIT_CORE, 1);
  alarm(options.seconds);
  const bool isPrepared =
      (options.workingFolder.empty() || chdir(options.workingFolder.c_str()) == 0) &&
      (!options.asOrdinaryUser || dropRoot());
  if (isPrepared) {
    if (!options.argument0.empty()) {
      command.front() = options.argument0;
    }
    std::vector<char*> arguments;
    for (std::string& argument : command) {
      arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    fexecve(program, arguments.data(), environ);
  }
  _exit(cannotStart);
}

}  // namespace

ProcessResult run(const std::vector<std::string>& command, const ProcessOptions& options) {
  const TemporaryFolder captures;
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("can't start " + command.front());
  }
  if (child == 0) {
    startProgram(command, options, captures);
  }

  int waitStatus = 0;
  waitpid(child, &waitStatus, 0);
  ProcessResult result;
  if (WIFEXITED(waitStatus)) {
    result.status = WEXITSTATUS(waitStatus);
  } else {
    result.signal = WTERMSIG(waitStatus);
  }
  if (options.standardOutput == StandardOutput::Captured) {
    result.output = readFile(captures / "output");
  }
  result.errors = readFile(captures / "errors");
  return result;
}
