// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"

namespace Tessaly::inline v1 {
namespace {

std::string textOf(DocumentFailure failure) {
  const std::string portal = "org.freedesktop.portal.Documents ";
  switch (failure) {
    case DocumentFailure::noPortal:
      return portal + "is not running";
    case DocumentFailure::notAnswering:
      return portal + "did not answer";
    case DocumentFailure::refused:
      return portal + "refused the question";
    case DocumentFailure::notMounted:
      return portal + "shows no files to this process; start the application again";
    case DocumentFailure::revoked:
      break;
  }
  return portal + "no longer grants the file; choose the file again";
}

}  // namespace

DocumentError::~DocumentError() = default;

std::string DocumentError::description() const {
  return "Error Domain=" + domain() + " Code=" + std::to_string(code()) + " \"" + textOf(failure_) + '"';
}

std::string DocumentError::localizedDescription() const {
  return "The operation couldn’t be completed. " + textOf(failure_);
}

}  // namespace Tessaly::inline v1
