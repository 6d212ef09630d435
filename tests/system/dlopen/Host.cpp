// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include <cstdio>

int main(int count, char** arguments) {
  if (count != 2) return 2;
  for (int i = 0; i < 20; ++i) {
    void* plugin = ::dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
      std::fprintf(stderr, "%s\n", ::dlerror());
      return 1;
    }
    auto* use = reinterpret_cast<int (*)(int)>(::dlsym(plugin, "usePlugin"));
    if (use == nullptr || use(i) != i + 1) return 1;
    if (::dlclose(plugin) != 0) return 1;
    // Threads of the runtime may still run its code.
    if (::dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) == nullptr || ::dlclose(plugin) != 0) return 1;
  }
  std::puts("opened and closed 20 times");
  return 0;
}
