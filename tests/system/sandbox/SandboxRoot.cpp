// SPDX-License-Identifier: MIT
#include "tests/system/sandbox/SandboxRoot.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace Tessaly::Tests {
namespace {

constexpr const char* mark = "TESSALY_TEST_SANDBOX";

/// Makes the root directory from those of the system, and runs its arguments there.
constexpr const char* script = R"sh(
set -e
root=/mnt  # A new directory would stay behind.
mount -t tmpfs sandbox "$root"
for entry in /*; do
  if [ -L "$entry" ]; then cp -P "$entry" "$root$entry"
  elif [ "$entry" = "$root" ]; then :
  elif [ "$entry" = /run ]; then mkdir "$root/run"
  elif [ -d "$entry" ]; then mkdir "$root$entry"; mount --rbind "$entry" "$root$entry"
  fi
done
printf '%s\n' '[Application]' 'name=org.example.player' 'runtime=runtime/org.example.Platform/x86_64/1' \
  '[Instance]' 'instance-id=1' '[Context]' 'shared=network;ipc;' > "$root/.flatpak-info"
directory=$PWD
exec chroot "$root" env -C "$directory" TESSALY_TEST_SANDBOX=inside "$@"
)sh";

std::string ownPath() {
  std::string path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path;
}

/// Replaces this program by the script with these words as arguments. Returns only if that fails.
void replaceBy(std::vector<std::string> words) {
  words.insert(words.begin(), {"unshare", "--user", "--map-root-user", "--mount", "sh", "-c", script, "sh"});
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

bool canBeEntered() {
  const pid_t child = ::fork();
  if (child == 0) replaceBy({"true"});
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

const std::string& reasonForNoSandbox() {
  static const auto& reason = *new std::string(
      std::getenv(mark) != nullptr ? "" : "unshare cannot make a mount namespace with another root for this user");
  return reason;
}

void enterSandbox(char** arguments) {
  if (std::getenv(mark) != nullptr || !canBeEntered()) return;
  std::vector<std::string> words{ownPath()};
  for (char** argument = arguments + 1; *argument != nullptr; ++argument) words.emplace_back(*argument);
  replaceBy(std::move(words));
}

}  // namespace Tessaly::Tests
