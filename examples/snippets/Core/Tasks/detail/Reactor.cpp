// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

namespace Tessaly {

using detail::DescriptorSource;

void readAll(int fd);

void snippet(int fd) {
  auto source = DescriptorSource::make(fd, GlobalExecutor::shared(), [fd] { readAll(fd); });
  source->cancel();
}

}  // namespace Tessaly
