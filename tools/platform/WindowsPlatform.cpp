#define NOMINMAX
#include <windows.h>
// After windows.h, on which these depend
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/Path.h"
#include "platform/Platform.h"
#include "platform/Shared.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

constexpr int standardInput = 0;
constexpr int standardError = 2;
constexpr int ownerMayAll = _S_IREAD | _S_IWRITE;

// With this a child that knows of it ends on SIGABRT; by default every signal ends with 3.
constexpr int abortStatus = 128 + SIGABRT;
constexpr int signalStatus = 3;

[[noreturn]] void failWithLastError() {
  throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
}

HANDLE handleOf(int fd) { return reinterpret_cast<HANDLE>(::_get_osfhandle(fd)); }

/// What tells one file from all others.
struct Identity {
  DWORD volume;
  DWORD high;
  DWORD low;

  bool operator==(const Identity&) const = default;
};

bool identify(HANDLE file, Identity& identity) {
  BY_HANDLE_FILE_INFORMATION information{};
  if (::GetFileInformationByHandle(file, &information) == 0) {
    return false;
  }
  identity = {information.dwVolumeSerialNumber, information.nFileIndexHigh,
              information.nFileIndexLow};
  return true;
}

/// A new temporary file for reading and writing, which is removed when it is closed.
Descriptor createTemporaryFile() {
  std::array<wchar_t, MAX_PATH + 1> name{};
  std::error_code isNoFolder;
  if (::GetTempFileNameW(fs::temp_directory_path(isNoFolder).c_str(), L"kes", 0, name.data()) ==
      0) {
    failCopying(std::system_category().message(static_cast<int>(::GetLastError())));
  }
  Descriptor file(
      ::_wopen(name.data(), _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT, ownerMayAll));
  if (file.get() < 0) {
    failCopying(words(errno));
  }
  return file;
}

/// The path of a program, searched for in PATH unless it has a folder.
std::wstring findProgram(const std::string& program) {
  const fs::path name = pathOf(program);
  if (name.has_parent_path()) {
    return name.wstring();
  }
  std::array<wchar_t, 32768> found{};
  const DWORD size = ::SearchPathW(::_wgetenv(L"PATH"), name.c_str(), L".exe",
                                   static_cast<DWORD>(found.size()), found.data(), nullptr);
  if (size == 0 || size >= found.size()) {
    failWith(ENOENT);
  }
  return {found.data(), size};
}

/// An argument as the C library of the other program takes it apart again: in quotes, before which
/// backslashes count double.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t letter : argument) {
    if (letter == L'"') {
      text.append(backslashes + 1, L'\\');
    }
    backslashes = letter == L'\\' ? backslashes + 1 : 0;
    text += letter;
  }
  text.append(backslashes, L'\\');
  return text + L'"';
}

/// A handle that children inherit.
HANDLE inherited(HANDLE handle) {
  ::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  return handle;
}

Descriptor openNull(int mode) { return Descriptor(::_open("NUL", mode | _O_NOINHERIT)); }

}  // namespace

void failCopying(const std::string& reason) {
  throw InputFault("it can't be copied to a temporary file (" + reason + ")",
                   "set TMP to a folder with room for it");
}

// The C library never gives their numbers to other files.
void holdStandardStreams() {}

// There are none.
void ignoreWriteSignals() {}

void leaveNoCoreDump() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  std::signal(SIGABRT, [](int) { ::_exit(abortStatus); });
}

bool standardInputIs(const std::string& path) {
  const Descriptor file(::_wopen(pathOf(path).c_str(), _O_RDONLY | _O_NOINHERIT));
  Identity ofInput{};
  Identity ofFile{};
  return file.get() >= 0 && identify(handleOf(standardInput), ofInput) &&
         identify(handleOf(file.get()), ofFile) && ofInput == ofFile;
}

// Only creating a file tells.
bool mayWriteIn(const std::string& /*folder*/) { return true; }

std::FILE* createNewFile(const std::string& path) {
  const int file = ::_wopen(pathOf(path).c_str(),
                            _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY | _O_NOINHERIT, ownerMayAll);
  return file < 0 ? nullptr : ::_fdopen(file, "wb");
}

std::string ownProgram() {
  std::array<wchar_t, 32768> path{};
  ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return nameOf(path.data());
}

SignalsLater::SignalsLater() { ::SetConsoleCtrlHandler(nullptr, TRUE); }

SignalsLater::~SignalsLater() { ::SetConsoleCtrlHandler(nullptr, FALSE); }

int Descriptor::duplicate() const { return ::_dup(fd); }

SilentStandardError::SilentStandardError() : original(::_dup(standardError)) {
  const Descriptor null = openNull(_O_WRONLY);
  ::_dup2(null.get(), standardError);
}

SilentStandardError::~SilentStandardError() { ::_dup2(original.get(), standardError); }

InputFile openInput(const std::string& path) {
  if (path != "-") {
    if (std::error_code notThere; fs::is_directory(pathOf(path), notThere)) {
      throw InputFault("it is a folder", "name a file in it");
    }
    Descriptor file(::_wopen(pathOf(path).c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT));
    if (file.get() < 0) {
      throw InputFault(words(errno), "look at its path and its permissions");
    }
    return {std::move(file), false};
  }
  Descriptor copy = createTemporaryFile();
  ::_setmode(standardInput, _O_BINARY);
  copyInput(standardInput, copy.get());
  return {std::move(copy), true};
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Descriptor& input) {
  const std::wstring program = findProgram(command.front());
  std::wstring line;
  for (const std::string& argument : command) {
    line += quoted(pathOf(argument).wstring()) + L" ";
  }

  std::array<int, 2> ends{};
  if (::_pipe(ends.data(), 65536, _O_BINARY | _O_NOINHERIT) != 0) {
    failWithErrno();
  }
  output = Descriptor(ends[0]);
  const Descriptor inputOfPipe(ends[1]);
  const Descriptor nothing = openNull(_O_RDONLY);
  const Descriptor nowhere = openNull(_O_WRONLY);

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inherited(handleOf(input.get() >= 0 ? input.get() : nothing.get()));
  startup.hStdOutput = inherited(handleOf(inputOfPipe.get()));
  startup.hStdError = inherited(handleOf(nowhere.get()));
  PROCESS_INFORMATION child{};
  if (::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &child) == 0) {
    failWithLastError();
  }
  ::CloseHandle(child.hThread);
  process = reinterpret_cast<std::intptr_t>(child.hProcess);
}

ChildEnd ChildProcess::wait() {
  const HANDLE child = reinterpret_cast<HANDLE>(process);
  DWORD status = 0;
  ::WaitForSingleObject(child, INFINITE);
  ::GetExitCodeProcess(child, &status);
  ::CloseHandle(child);
  process = -1;
  switch (status) {
    case abortStatus:
      return {.signal = SIGABRT};
    case signalStatus:
      return {.signal = SIGFPE};
    default:
      return {.status = static_cast<int>(status)};
  }
}

}  // namespace platform
