#include "support/Process.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "support/Files.h"

namespace {

constexpr int cannotStart = 127;
constexpr int ordinaryUser = 65534;  // nobody

void limit(decltype(RLIMIT_AS) resource, long most) {
  if (most > 0) {
    const auto value = static_cast<rlim_t>(most);
    const rlimit limits{value, value};
    setrlimit(resource, &limits);
  }
}

void redirect(int descriptor, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  dup2(file, descriptor);
  close(file);
}

void redirectStandardOutput(StandardOutput kind, const std::string& capturePath) {
  int ends[2];
  switch (kind) {
    case StandardOutput::Captured:
      redirect(STDOUT_FILENO, capturePath);
      break;
    case StandardOutput::Closed:
      close(STDOUT_FILENO);
      break;
    case StandardOutput::FullDevice:
      redirect(STDOUT_FILENO, "/dev/full");
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

bool dropRoot() {
  return geteuid() != 0 ||
         (setgroups(0, nullptr) == 0 && setgid(ordinaryUser) == 0 && setuid(ordinaryUser) == 0);
}

[[noreturn]] void startProgram(const std::vector<std::string>& command,
                               const ProcessOptions& options, const TemporaryFolder& captures) {
  redirect(STDERR_FILENO, captures / "errors");
  redirectStandardOutput(options.standardOutput, captures / "output");
  limit(RLIMIT_AS, options.addressSpace);
  limit(RLIMIT_FSIZE, options.largestFile);
  limit(RLIMIT_CORE, 1);
  alarm(options.seconds);
  const bool isPrepared =
      (options.workingFolder.empty() || chdir(options.workingFolder.c_str()) == 0) &&
      (!options.asOrdinaryUser || dropRoot());
  if (isPrepared) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
      arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
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

ProcessResult runConverter(const std::vector<std::string>& arguments,
                           const ProcessOptions& options) {
  std::vector<std::string> command{CONVERTER_PATH};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run(command, options);
}
