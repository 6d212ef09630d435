// SPDX-License-Identifier: MIT
#include "tests/system/sandbox/DocumentPortal.hpp"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::Tests {
namespace {

std::string outcomeOf(const std::function<std::string()>& body) {
  try {
    return body();
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

DocumentPortal::DocumentPortal(const PrivateBus& bus) : bus_(bus) {
  if (::access(program, X_OK) != 0) reason_ = "xdg-document-portal is not installed";
  if (!reason_.empty()) return;
  ::setenv("XDG_DATA_HOME", bus_.folder().c_str(), 1);
  permissions_ = Process({"/usr/libexec/xdg-permission-store"}, bus_.folder() + "/permissions.log");
  if (!waitUntil([this] { return bus_.hasOwner("org.freedesktop.impl.portal.PermissionStore"); }))
    reason_ = "xdg-permission-store does not start";
  start(bus_.folder() + "/first");
}

DocumentPortal::~DocumentPortal() {
  process_.end();
  ::umount2(directory().c_str(), MNT_DETACH);
}

void DocumentPortal::start(const std::string& runtime) {
  if (!reason_.empty()) return;
  runtime_ = runtime;
  // Newer portals look for the process of the sandbox, by the identifier in the sandbox's file.
  std::filesystem::create_directories(runtime + "/.flatpak/1");
  std::ofstream(runtime + "/.flatpak/1/bwrapinfo.json") << "{\"child-pid\": " << ::getpid() << "}\n";
  ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  const std::string log = bus_.folder() + "/documents.log";
  process_ = Process({program, "--verbose"}, log);
  if (!waitUntil([this] { return bus_.hasOwner(name) && isMounted(); }))
    reason_ = "xdg-document-portal cannot mount its file system: " + contentsOf(log);
}

void DocumentPortal::stop(int signal) {
  process_.signal(signal);
  if (!waitUntil([this] { return !isMounted(); }) || !bus_.noticesEndOf(name)) reason_ = "the portal does not end";
}

void DocumentPortal::letTheBusStartIt() const {
  bus_.addService(name, "/usr/bin/env XDG_RUNTIME_DIR=" + runtime_ + " XDG_DATA_HOME=" + bus_.folder() +
                            " /usr/bin/timeout 20 " + program);
}

bool DocumentPortal::isMounted() const { return ::access((directory() + "/by-app").c_str(), F_OK) == 0; }

std::string DocumentPortal::grant(const std::string& path, Lifetime lifetime) const {
  constexpr std::uint32_t isDirectory = 8;
  const std::uint32_t flags =
      static_cast<std::uint32_t>(lifetime) | (std::filesystem::is_directory(path) ? isDirectory : 0);
  const int file = ::open(path.c_str(), O_PATH | O_CLOEXEC);
  sd_bus* bus = nullptr;
  sd_bus_message* reply = nullptr;
  const char* identifier = nullptr;
  const bool isGranted =
      sd_bus_open_user(&bus) >= 0 &&
      sd_bus_call_method(bus, name, object, name, "AddFull", nullptr, &reply, "ahusas", 1, file, flags, "", 0) >= 0 &&
      sd_bus_message_enter_container(reply, 'a', "s") > 0 &&
      sd_bus_message_read_basic(reply, 's', static_cast<void*>(&identifier)) > 0;
  const std::string result = isGranted ? identifier : "";
  sd_bus_message_unref(reply);
  sd_bus_flush_close_unref(bus);
  ::close(file);
  return lifetime == Lifetime::persistent && !isSaved(result) ? "" : result;
}

bool DocumentPortal::isSaved(const std::string& identifier) const {
  // The portal does not wait for the permission store, whose file it reads when it starts again. The store writes in
  // the order of the calls, and answers this one after its write.
  constexpr const char* store = "org.freedesktop.impl.portal.PermissionStore";
  return bus_.busctl({"call", store, "/org/freedesktop/impl/portal/PermissionStore", store, "SetPermission", "sbssas",
                      "documents", "true", identifier, "org.example.other", "1", "read"}) == 0;
}

bool DocumentPortal::remove(const std::string& identifier) const {
  return bus_.busctl({"call", name, object, name, "Delete", "s", identifier}) == 0;
}

std::string DocumentPortal::inApplication(const std::function<std::string()>& body) const {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string view = directory() + "/by-app/org.example.player";
    std::string outcome = enterMountNamespace();
    if (outcome.empty() && ::mount(view.c_str(), directory().c_str(), nullptr, MS_BIND, nullptr) != 0)
      outcome = "the documents of the application cannot be mounted";
    if (outcome.empty()) outcome = outcomeOf(body);
    const ssize_t written = ::write(pipe[1], outcome.data(), outcome.size());
    ::_exit(written == static_cast<ssize_t>(outcome.size()) ? 0 : 1);
  }
  ::close(pipe[1]);
  std::string outcome;
  std::array<char, 4096> block;
  for (ssize_t count = 0; (count = ::read(pipe[0], block.data(), block.size())) > 0;)
    outcome.append(block.data(), static_cast<std::size_t>(count));
  ::close(pipe[0]);
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? outcome : "the application crashed";
}

}  // namespace Tessaly::Tests
