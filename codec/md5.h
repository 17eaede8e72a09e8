// MD5 (RFC 1321) over the caller's SMRFC1321Context. The byte order in which
// block words are read, the bit count appended and the digest stored is one
// switch: the exported functions use the host's order, and the other order
// stays reachable so that both are tested.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "kxsupt/codec.h"

namespace kx::codec {

enum class Md5Order { kLittle, kBig };
inline constexpr Md5Order kMd5HostOrder =
    std::endian::native == std::endian::big ? Md5Order::kBig : Md5Order::kLittle;

// Starts a message: zero bit count, initial chaining words, nothing buffered,
// digest zeroed. The block buffer is left as it was.
void RFC1321Load(SMRFC1321Context *context);
// Adds length bytes; every byte counts eight bits once however the message is
// split.
template <Md5Order kOrder>
void RFC1321AddMsg(SMRFC1321Context *context, const uint8_t *data, size_t length);
// Pads with 0x80, zeros and the 64-bit bit count, and stores the chaining
// words in context->digest. Does not re-initialise the context.
template <Md5Order kOrder>
void RFC1321ComputeMsgDigest(SMRFC1321Context *context);
// Sets every byte of the context to zero.
void RFC1321UnLoad(SMRFC1321Context *context);

extern template void RFC1321AddMsg<Md5Order::kLittle>(SMRFC1321Context *, const uint8_t *, size_t);
extern template void RFC1321AddMsg<Md5Order::kBig>(SMRFC1321Context *, const uint8_t *, size_t);
extern template void RFC1321ComputeMsgDigest<Md5Order::kLittle>(SMRFC1321Context *);
extern template void RFC1321ComputeMsgDigest<Md5Order::kBig>(SMRFC1321Context *);

}  // namespace kx::codec
