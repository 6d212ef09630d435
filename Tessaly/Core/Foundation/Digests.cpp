// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Digests.hpp"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/opensslv.h>

#include <cerrno>
#include <new>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace detail;

static_assert(OPENSSL_SHLIB_VERSION == 3, "`cryptoLibrary` names the library of another version");
constinit const LateLibrary cryptoLibrary{"libcrypto.so.3"};
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_Digest);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_DigestFinal_ex);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_DigestInit_ex);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_DigestUpdate);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_MD_CTX_free);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_MD_CTX_new);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_md5);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_sha256);
TESSALY_LATE_FUNCTION(cryptoLibrary, EVP_sha512);
TESSALY_LATE_FUNCTION(cryptoLibrary, HMAC);

/// Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
void requireCrypto() {
  if (!cryptoLibrary.isLoaded()) throw POSIXError(ELIBACC);
}

void digest(std::span<const std::uint8_t> bytes, const LateFunction<decltype(::EVP_sha256)>& method,
            std::uint8_t* out) {
  requireCrypto();
  if (EVP_Digest(bytes.data(), bytes.size(), out, nullptr, method(), nullptr) != 1) throw std::bad_alloc();
}

void begin(void* context, DigestMethod method) {
  const EVP_MD* const methods[]{EVP_sha256(), EVP_sha512(), EVP_md5()};
  if (EVP_DigestInit_ex(static_cast<EVP_MD_CTX*>(context), methods[static_cast<std::size_t>(method)], nullptr) != 1) {
    throw std::bad_alloc();
  }
}

}  // namespace

SHA256Digest SHA256Digest::hash(std::span<const std::uint8_t> bytes) {
  SHA256Digest result;
  digest(bytes, EVP_sha256, result.bytes.data());
  return result;
}

SHA512Digest SHA512Digest::hash(std::span<const std::uint8_t> bytes) {
  SHA512Digest result;
  digest(bytes, EVP_sha512, result.bytes.data());
  return result;
}

Insecure::MD5Digest Insecure::MD5Digest::hash(std::span<const std::uint8_t> bytes) {
  MD5Digest result;
  digest(bytes, EVP_md5, result.bytes.data());
  return result;
}

void detail::DigestState::Free::operator()(void* context) const noexcept {
  EVP_MD_CTX_free(static_cast<EVP_MD_CTX*>(context));
}

detail::DigestState::DigestState(DigestMethod method) : method_(method) {
  requireCrypto();
  context_.reset(EVP_MD_CTX_new());
  if (context_ == nullptr) throw std::bad_alloc();
  begin(context_.get(), method_);
}

void detail::DigestState::update(std::span<const std::uint8_t> bytes) {
  if (EVP_DigestUpdate(static_cast<EVP_MD_CTX*>(context_.get()), bytes.data(), bytes.size()) != 1) {
    throw std::bad_alloc();
  }
}

void detail::DigestState::finalize(std::uint8_t* out) {
  if (EVP_DigestFinal_ex(static_cast<EVP_MD_CTX*>(context_.get()), out, nullptr) != 1) throw std::bad_alloc();
  begin(context_.get(), method_);
}

HashedAuthenticationCode HashedAuthenticationCode::authenticationCode(std::span<const std::uint8_t> bytes,
                                                                      std::span<const std::uint8_t> key) {
  // RFC 2104 replaces a key that is longer than a block by its digest. Then its size also fits into an `int`.
  constexpr std::size_t blockSize = 64;
  if (key.size() > blockSize) return authenticationCode(bytes, SHA256Digest::hash(key).bytes);
  requireCrypto();
  HashedAuthenticationCode result;
  // libcrypto would replace a null key by the previous key.
  constexpr std::uint8_t none = 0;
  const std::uint8_t* const keyBytes = key.empty() ? &none : key.data();
  if (HMAC(EVP_sha256(), keyBytes, static_cast<int>(key.size()), bytes.data(), bytes.size(), result.bytes.data(),
           nullptr) == nullptr) {
    throw std::bad_alloc();
  }
  return result;
}

}  // namespace Tessaly::inline v1
