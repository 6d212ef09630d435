// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/Reactor.hpp"

#include "Tessaly/Platform/Tasks/GlobalExecutor.hpp"

namespace Tessaly {

using detail::DescriptorSource;

void readAll(int fd);

void snippet(int fd) {
  auto source = DescriptorSource::make(fd, GlobalExecutor::shared(), [fd] { readAll(fd); });
  source->cancel();
}

}  // namespace Tessaly
