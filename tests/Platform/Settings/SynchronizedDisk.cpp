// SPDX-License-Identifier: MIT
#include "tests/Platform/Settings/SynchronizedDisk.hpp"

#include <sys/syscall.h>
#include <unistd.h>

// In the place of those of the C library.
extern "C" {

int fsync(int descriptor) {
  if (Tessaly::Tests::SynchronizedDisk* const disk = Tessaly::Tests::SynchronizedDisk::current())
    disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int fdatasync(int descriptor) {
  if (Tessaly::Tests::SynchronizedDisk* const disk = Tessaly::Tests::SynchronizedDisk::current())
    disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}
}
