// Hash-ID table through its exported entries, against a naive model written
// here that applies the allocator's rules literally, one bit at a time, over
// random tables of many sizes (below 4 bytes and not multiples of 4
// included); then the quirks pinned by hand. The model addresses ID n as
// bit n % 8 of byte n / 8, which is bit n % 32 of native word n / 32 on this
// little-endian host.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "kxsupt/containers.h"

namespace {

struct NaiveTable {
  std::vector<unsigned char> bytes;
  uint32_t size() const { return static_cast<uint32_t>(bytes.size()); }

  // Mode 0: the lowest free ID of the whole words, ID 0 skipped.
  uint32_t Acquire(uint32_t mode) {
    if (mode == 1) return AcquireContinuing();
    for (uint32_t id = 1; mode == 0 && id < Words() * 32; ++id) {
      if (!Bit(id)) return Take(id);
    }
    return 0;
  }

  // op 0 acquires the ID, 1 verifies it, 2 releases it (in that order below).
  SMStatus ById(int op, uint32_t id) {
    if (uint64_t{id} >= uint64_t{size()} * 8) return SM_STATUS_OS_FAILURE;
    const bool used = Bit(id);
    if (op != 1) Set(id, op == 0);
    if (op == 0) return used ? SM_STATUS_IN_USE : SM_STATUS_SUCCESS;
    return used ? SM_STATUS_SUCCESS : SM_STATUS_NOT_IN_USE;
  }

  // The first non-zero word decides: word 0 holding only ID 0 gives 0.
  uint32_t Min() const {
    uint32_t w = 0;
    while (w < Words() && WordEmpty(w)) ++w;
    for (uint32_t id = std::max(w * 32, 1u); w < Words() && id < w * 32 + 32; ++id) {
      if (Bit(id)) return id;
    }
    return 0;
  }

  uint32_t Max() const {
    for (uint32_t id = Words() * 32; id-- > 1;) {
      if (Bit(id)) return id;
    }
    return 0;
  }

  // From the position given (itself skipped) to bit 31, then every bit of
  // the following words.
  uint32_t FindNext(uint32_t *word, uint32_t *bit) const {
    for (uint32_t w = *word; w < Words(); ++w) {
      for (uint32_t b = w == *word ? *bit : 0; b < 32; ++b) {
        if ((w != *word || b != *bit) && Bit(w * 32 + b)) {
          *word = w;
          *bit = b;
          return w * 32 + b;
        }
      }
    }
    return 0;
  }

  uint32_t Words() const { return size() / 4; }
  bool Bit(uint32_t id) const { return (bytes[id / 8] >> (id % 8)) & 1; }
  void Set(uint32_t id, bool on) {
    if (Bit(id) != on) bytes[id / 8] ^= static_cast<unsigned char>(1u << (id % 8));
  }
  uint32_t Take(uint32_t id) {
    Set(id, true);
    return id;
  }
  // How many of IDs first..last-1 are in use.
  uint32_t Used(uint32_t first, uint32_t last) const {
    uint32_t used = 0;
    for (uint32_t id = first; id < last; ++id) used += Bit(id);
    return used;
  }
  bool WordEmpty(uint32_t w) const { return Used(w * 32, w * 32 + 32) == 0; }
  // All 32 bits set, or for word 0 all bits but ID 0.
  bool WordFull(uint32_t w) const { return Used(w * 32 + (w == 0), w * 32 + 32) == 32 - (w == 0); }

  // Mode 1, step by step: a partly used word always becomes the choice, an
  // empty one only when nothing was chosen before; then from bit 31 down the
  // most recent clear bit is taken on meeting a set bit, or at the end.
  uint32_t AcquireContinuing() {
    if (Words() == 0) return 0;
    bool chosen_any = false;
    uint32_t chosen = 0;
    for (uint32_t w = 0; w < Words(); ++w) {
      if ((!WordEmpty(w) && !WordFull(w)) || (WordEmpty(w) && !chosen_any)) {
        chosen = w, chosen_any = true;
      }
    }
    if (WordFull(chosen)) return 0;
    uint32_t clear = 0;
    for (uint32_t id = chosen * 32 + 32; id-- > std::max(chosen * 32, 1u);) {
      if (!Bit(id)) {
        clear = id;
      } else if (clear != 0) {
        break;
      }
    }
    return clear != 0 ? Take(clear) : 0;
  }
};

// A random word drawn from shapes that stress the scans: empty, full, ID 0
// alone, all but ID 0, runs at either end, sparse, dense, single bits.
uint32_t RandomWord(std::mt19937 &rng) {
  const auto r = static_cast<uint32_t>(rng()), q = static_cast<uint32_t>(rng()), s = q % 32;
  const uint32_t shapes[] = {0,           ~0u,   1,     0xFFFFFFFEu, ~0u << s,
                             ~(~0u << s), r & q, r | q, 1u << s,     r};
  return shapes[rng() % 10];
}

constexpr uint32_t kSizes[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,   10, 11,
                               12, 13, 16, 17, 20, 23, 32, 33, 64, 100, 131};

// Applies one random operation to both tables and compares results and bytes.
void CompareOneOperation(std::mt19937 &rng, NaiveTable &model, std::vector<unsigned char> &real) {
  const uint32_t size = model.size();
  void *table = real.empty() ? static_cast<void *>(&real) : real.data();  // never null
  const uint32_t op = rng() % 8, id = rng() % (size * 8 + 40);
  SCOPED_TRACE(::testing::Message() << "size " << size << " op " << op << " id " << id);
  switch (op) {
    case 0:
    case 1: {
      const uint32_t mode = rng() % 5 == 0 ? rng() % 4 : op;
      ASSERT_EQ(SMAcquireHashID(table, size, mode), model.Acquire(mode)) << "mode " << mode;
      break;
    }
    case 2:
    case 3:
    case 4: {
      SMStatus (*const by_id[])(void *, uint32_t, uint32_t) = {&SMAcquireHashIDByID,
                                                               &SMVerifyHashID, &SMReleaseHashID};
      ASSERT_EQ(by_id[op - 2](table, size, id), model.ById(static_cast<int>(op - 2), id));
      break;
    }
    case 5:
      ASSERT_EQ(SMGetMinInUseID(table, size), model.Min());
      ASSERT_EQ(SMGetMaxInUseID(table, size), model.Max());
      break;
    default: {  // enumerate, from the first ID (positions reset) or from any position
      uint32_t word = rng() % (size / 4 + 2), bit = rng() % 40;  // bits above 31 included
      uint32_t model_word = op == 6 ? 0 : word, model_bit = op == 6 ? 0 : bit;
      uint32_t got = op == 6 ? SMFindFirstHashID(table, size, &word, &bit)
                             : SMFindNextHashID(table, size, &word, &bit);
      for (int guard = 0; guard < 2000; ++guard) {
        ASSERT_EQ(got, model.FindNext(&model_word, &model_bit));
        ASSERT_EQ(word, model_word);
        ASSERT_EQ(bit, model_bit);
        if (got == 0) break;
        got = SMFindNextHashID(table, size, &word, &bit);
      }
      break;
    }
  }
  ASSERT_EQ(real, model.bytes);
}

// Per size: single operations on random tables, then long sequences from a
// cleared table, where acquisitions fill it and releases punch holes, so
// mode 1 meets full, empty and partial words in turn.
TEST(HashIdModel, follows_a_naive_model_over_random_operations) {
  std::mt19937 rng(2024);
  for (uint32_t size : kSizes) {
    for (int round = 0; round < 1500; ++round) {
      std::vector<unsigned char> real(size);
      for (uint32_t i = 0; i < size; i += 4) {
        const uint32_t word = RandomWord(rng);
        std::memcpy(real.data() + i, &word, std::min<uint32_t>(4, size - i));
      }
      NaiveTable model{real};
      ASSERT_NO_FATAL_FAILURE(CompareOneOperation(rng, model, real));
    }
    for (int round = 0; round < 4; ++round) {
      std::vector<unsigned char> real(size + 1, 0xFF);
      ASSERT_EQ(SMClearHashTable(real.data(), size), SM_STATUS_SUCCESS);
      ASSERT_EQ(real.back(), 0xFF);  // not a byte more
      real.pop_back();
      NaiveTable model{std::vector<unsigned char>(size, 0)};
      for (int step = 0; step < 800; ++step) {
        ASSERT_NO_FATAL_FAILURE(CompareOneOperation(rng, model, real)) << "step " << step;
      }
    }
  }
}

TEST(HashIdEdges, bytes_needed_cover_whole_words_up_to_the_largest_id) {
  const uint32_t cases[][2] = {
      {0, 0},          {1, 4},         {31, 4}, {32, 8}, {63, 8}, {64, 12}, {0x3FFFFFFE, 0x8000000},
      {0x3FFFFFFF, 0}, {0xFFFFFFFF, 0}};
  for (const auto &c : cases) EXPECT_EQ(SMHashTableBytesNeeded(c[0]), c[1]) << c[0];
}

// Mode 1 continues above the IDs in use in the last partly used word.
TEST(HashIdEdges, mode_1_continues_above_the_ids_of_the_last_partly_used_word) {
  struct Case {
    const char *what;
    std::vector<uint32_t> words;
    uint32_t mode, want;
  };
  const Case cases[] = {
      {"empty table", {0, 0, 0}, 1, 1},
      {"IDs 1-5 but 3: mode 0 reuses 3", {0x36}, 0, 3},
      {"IDs 1-5 but 3: mode 1 goes on", {0x36}, 1, 6},
      {"the last partial word wins", {0x3, 0x0, 0x10, 0x0}, 1, 69},
      {"an empty word counts only before any choice", {~0u, 0, 0}, 1, 32},
      {"above the highest used bit with room above it", {0, 0x80000F01u}, 1, 44},
      {"a top run only: lowest clear bit", {0, 0xFFFF0000u}, 1, 32},
      {"ID 0 alone is partial use", {1, 0}, 1, 1},
      {"word 0 full but for ID 0", {0xFFFFFFFEu, ~0u}, 1, 0},
      {"word 0 full, a later word empty", {0xFFFFFFFEu, 0}, 1, 32},
      {"earlier holes are not reused", {0xFFFF00FFu, 0x1}, 1, 33},
      {"an unknown mode takes nothing", {0}, 2, 0},
  };
  for (const Case &c : cases) {
    std::vector<uint32_t> table = c.words;
    const auto size = static_cast<uint32_t>(table.size() * 4);
    EXPECT_EQ(SMAcquireHashID(table.data(), size, c.mode), c.want) << c.what;
  }
}

// ID 0 is taken only by number and never reported; the minimum quirk.
TEST(HashIdEdges, id_0_is_taken_only_by_number_and_hides_the_minimum) {
  uint32_t table[2] = {0, 0}, word, bit;
  EXPECT_EQ(SMAcquireHashIDByID(table, 8, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(table[0], 1u);
  EXPECT_EQ(SMVerifyHashID(table, 8, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMFindFirstHashID(table, 8, &word, &bit), 0u);
  EXPECT_EQ(SMGetMaxInUseID(table, 8), 0u);
  ASSERT_EQ(SMAcquireHashIDByID(table, 8, 40), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMGetMinInUseID(table, 8), 0u);  // word 0 holds only ID 0, though 40 is used
  EXPECT_EQ(SMGetMaxInUseID(table, 8), 40u);
  EXPECT_EQ(SMAcquireHashID(table, 8, 0), 1u);
  EXPECT_EQ(SMGetMinInUseID(table, 8), 1u);
}

TEST(HashIdEdges, null_tables_are_refused_without_a_write) {
  uint32_t table[1] = {0x6}, word = 0, bit = 0;
  EXPECT_EQ(SMClearHashTable(nullptr, 8), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMAcquireHashIDByID(nullptr, 8, 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMVerifyHashID(nullptr, 8, 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMReleaseHashID(nullptr, 8, 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMAcquireHashID(nullptr, 8, 0), 0u);
  EXPECT_EQ(SMGetMinInUseID(nullptr, 8), 0u);
  EXPECT_EQ(SMGetMaxInUseID(nullptr, 8), 0u);
  EXPECT_EQ(SMFindFirstHashID(table, 4, nullptr, &bit), 0u);
  EXPECT_EQ(SMFindFirstHashID(table, 4, &word, nullptr), 0u);
  EXPECT_EQ(SMFindNextHashID(nullptr, 4, &word, &bit), 0u);
  EXPECT_EQ(table[0], 0x6u);
}

}  // namespace
