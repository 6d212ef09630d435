// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace Tessaly::inline v1::detail {

/// The ChaCha20 block function (RFC 8439): constants, key, counter and nonce in, 64 bytes of key stream out as words.
[[nodiscard]] constexpr std::array<std::uint32_t, 16> chaCha20Block(
    const std::array<std::uint32_t, 8>& key, const std::array<std::uint32_t, 4>& counterAndNonce) {
  const std::array<std::uint32_t, 16> initial{0x61707865,
                                              0x3320646e,
                                              0x79622d32,
                                              0x6b206574,
                                              key[0],
                                              key[1],
                                              key[2],
                                              key[3],
                                              key[4],
                                              key[5],
                                              key[6],
                                              key[7],
                                              counterAndNonce[0],
                                              counterAndNonce[1],
                                              counterAndNonce[2],
                                              counterAndNonce[3]};
  std::array<std::uint32_t, 16> state = initial;
  const auto quarterRound = [&state](int a, int b, int c, int d) {
    state[a] += state[b];
    state[d] = std::rotl(state[d] ^ state[a], 16);
    state[c] += state[d];
    state[b] = std::rotl(state[b] ^ state[c], 12);
    state[a] += state[b];
    state[d] = std::rotl(state[d] ^ state[a], 8);
    state[c] += state[d];
    state[b] = std::rotl(state[b] ^ state[c], 7);
  };
  for (int round = 0; round < 10; ++round) {
    quarterRound(0, 4, 8, 12);
    quarterRound(1, 5, 9, 13);
    quarterRound(2, 6, 10, 14);
    quarterRound(3, 7, 11, 15);
    quarterRound(0, 5, 10, 15);
    quarterRound(1, 6, 11, 12);
    quarterRound(2, 7, 8, 13);
    quarterRound(3, 4, 9, 14);
  }
  for (std::size_t i = 0; i < state.size(); ++i) state[i] += initial[i];
  return state;
}

}  // namespace Tessaly::inline v1::detail
