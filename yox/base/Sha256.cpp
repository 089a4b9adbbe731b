#include "yox/base/Sha256.h"

#include <algorithm>
#include <bit>
#include <span>

namespace yox {
namespace {

constexpr std::size_t kBlockSize = 64;

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes (FIPS 180-4,
// 4.2.2).
constexpr std::array<std::uint32_t, 64> kRoundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// Those of the square roots of the first eight primes (FIPS 180-4, 5.3.3).
using State = std::array<std::uint32_t, 8>;
constexpr State kInitialState = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

// Adds one block to the state (FIPS 180-4, 6.2.2; the names are those of the standard).
void Compress(State& state, const std::uint8_t* block) {
  std::array<std::uint32_t, 64> w;
  for (std::size_t t = 0; t < 16; ++t) {
    const std::uint8_t* const word = block + 4 * t;
    w[t] = std::uint32_t{word[0]} << 24 | std::uint32_t{word[1]} << 16 |
           std::uint32_t{word[2]} << 8 | std::uint32_t{word[3]};
  }
  for (std::size_t t = 16; t < 64; ++t) {
    const std::uint32_t s0 = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
    const std::uint32_t s1 = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
    w[t] = s1 + w[t - 7] + s0 + w[t - 16];
  }
  auto [a, b, c, d, e, f, g, h] = state;
  for (std::size_t t = 0; t < 64; ++t) {
    const std::uint32_t sum1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
    const std::uint32_t choice = (e & f) ^ (~e & g);
    const std::uint32_t t1 = h + sum1 + choice + kRoundConstants[t] + w[t];
    const std::uint32_t sum0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
    const std::uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + sum0 + majority;
  }
  const State added = {a, b, c, d, e, f, g, h};
  for (std::size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

template <std::size_t N>
void StoreBigEndian(std::uint64_t number, std::span<std::uint8_t, N> bytes) {
  for (std::size_t i = N; i-- > 0; number >>= 8) bytes[i] = static_cast<std::uint8_t>(number);
}

}  // namespace

Sha256Digest Sha256(std::string_view bytes) {
  const auto* input = reinterpret_cast<const std::uint8_t*>(bytes.data());
  std::size_t left = bytes.size();
  State state = kInitialState;
  for (; left >= kBlockSize; left -= kBlockSize, input += kBlockSize) Compress(state, input);

  // The rest, a one bit, zeros, and the length in bits: in one block if there is room, else in two.
  std::array<std::uint8_t, 2 * kBlockSize> tail{};
  std::copy_n(input, left, tail.begin());
  tail[left] = 0x80;
  const std::size_t size =
      left + 1 + sizeof(std::uint64_t) <= kBlockSize ? kBlockSize : tail.size();
  StoreBigEndian(std::uint64_t{bytes.size()} * 8,
                 std::span(tail).subspan(size - sizeof(std::uint64_t)).first<8>());
  for (std::size_t at = 0; at < size; at += kBlockSize) Compress(state, tail.data() + at);

  Sha256Digest digest;
  for (std::size_t i = 0; i < state.size(); ++i) {
    StoreBigEndian(state[i], std::span(digest).subspan(4 * i).first<4>());
  }
  return digest;
}

}  // namespace yox
