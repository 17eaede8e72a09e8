// Hash-ID table through its exported entries, against a naive model written
// here that applies the allocator's rules literally, one bit at a time, over
// random tables of many sizes (below 4 bytes and not multiples of 4
// included); then the edge cases worth pinning. The model addresses ID n as
// bit n % 8 of byte n / 8, which is bit n % 32 of native word n / 32 on this
// little-endian host.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "kxsupt/containers.h"

namespace {

class NaiveTable {
 public:
  explicit NaiveTable(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}

  const std::vector<unsigned char> &bytes() const { return bytes_; }
  uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }

  uint32_t Acquire(uint32_t mode) {
    if (size() < 4) return 0;
    if (mode == 0) return AcquireLowest();
    if (mode == 1) return AcquireContinuing();
    return 0;
  }

  SMStatus AcquireById(uint32_t id) {
    if (uint64_t{id} >= uint64_t{size()} * 8) return 257;
    if (Bit(id)) return 258;
    Set(id, true);
    return 0;
  }
  SMStatus Verify(uint32_t id) const {
    if (uint64_t{id} >= uint64_t{size()} * 8) return 257;
    return Bit(id) ? 0 : 12;
  }
  SMStatus Release(uint32_t id) {
    if (uint64_t{id} >= uint64_t{size()} * 8) return 257;
    if (!Bit(id)) return 12;
    Set(id, false);
    return 0;
  }

  uint32_t Min() const {
    if (size() < 4) return 0;
    uint32_t word = 0;
    for (uint32_t w = 0; w < Words(); ++w) {
      if (!WordEmpty(w)) {
        word = w;
        break;
      }
    }
    for (uint32_t b = 0; b < 32; ++b) {
      if (IsIdZero(word, b)) continue;
      if (Bit(word * 32 + b)) return word * 32 + b;
    }
    return 0;
  }

  uint32_t Max() const {
    if (size() < 4) return 0;
    uint32_t word = 0;
    for (uint32_t w = 0; w < Words(); ++w) {
      if (!WordEmpty(w)) word = w;
    }
    for (uint32_t b = 32; b-- > 0;) {
      if (IsIdZero(word, b)) continue;
      if (Bit(word * 32 + b)) return word * 32 + b;
    }
    return 0;
  }

  uint32_t FindNext(uint32_t *word, uint32_t *bit) const {
    if (size() < 4) return 0;
    const uint32_t start_word = *word, start_bit = *bit;
    for (uint32_t w = start_word; w < Words(); ++w) {
      for (uint32_t b = (w == start_word ? start_bit : 0); b < 32; ++b) {
        if (w == start_word && b == start_bit) continue;
        if (Bit(w * 32 + b)) {
          *word = w;
          *bit = b;
          return w * 32 + b;
        }
      }
    }
    return 0;
  }

 private:
  uint32_t Words() const { return size() / 4; }
  static bool IsIdZero(uint32_t word, uint32_t bit) { return word == 0 && bit == 0; }
  bool Bit(uint32_t id) const { return (bytes_[id / 8] >> (id % 8)) & 1; }
  void Set(uint32_t id, bool on) {
    const auto mask = static_cast<unsigned char>(1u << (id % 8));
    bytes_[id / 8] =
        static_cast<unsigned char>(on ? bytes_[id / 8] | mask : bytes_[id / 8] & ~mask);
  }
  bool WordEmpty(uint32_t w) const {
    for (uint32_t b = 0; b < 32; ++b) {
      if (Bit(w * 32 + b)) return false;
    }
    return true;
  }
  // All 32 bits set, or for word 0 all bits but bit 0.
  bool WordFull(uint32_t w) const {
    for (uint32_t b = 0; b < 32; ++b) {
      if (!IsIdZero(w, b) && !Bit(w * 32 + b)) return false;
    }
    return true;
  }

  uint32_t AcquireLowest() {
    for (uint32_t w = 0; w < Words(); ++w) {
      for (uint32_t b = 0; b < 32; ++b) {
        if (IsIdZero(w, b)) continue;
        if (!Bit(w * 32 + b)) {
          Set(w * 32 + b, true);
          return w * 32 + b;
        }
      }
    }
    return 0;
  }

  uint32_t AcquireContinuing() {
    bool chosen_any = false;
    uint32_t chosen = 0;
    for (uint32_t w = 0; w < Words(); ++w) {
      const bool empty = WordEmpty(w), full = WordFull(w);
      if (!empty && !full) {
        chosen = w;
        chosen_any = true;
      } else if (empty && !chosen_any) {
        chosen = w;
        chosen_any = true;
      }
    }
    if (WordFull(chosen)) return 0;
    bool remembered = false;
    uint32_t clear_bit = 0;
    bool taken = false;
    for (uint32_t b = 32; b-- > 0;) {
      if (IsIdZero(chosen, b)) continue;
      if (!Bit(chosen * 32 + b)) {
        remembered = true;
        clear_bit = b;
      } else if (remembered) {
        taken = true;
        break;
      }
    }
    if (!taken && !remembered) return 0;
    Set(chosen * 32 + clear_bit, true);
    return chosen * 32 + clear_bit;
  }

  std::vector<unsigned char> bytes_;
};

// A random word drawn from shapes that stress the scans: empty, full, the
// reserved bit alone, all but the reserved bit, runs at either end, sparse
// and dense bits.
uint32_t RandomWord(std::mt19937 &rng) {
  const uint32_t r = rng();
  const uint32_t shift = rng() % 32;
  switch (rng() % 10) {
    case 0:
      return 0;
    case 1:
      return ~0u;
    case 2:
      return 1;
    case 3:
      return 0xFFFFFFFEu;
    case 4:
      return ~0u << shift;  // a run at the top
    case 5:
      return ~(~0u << shift);  // a run at the bottom
    case 6:
      return r & rng() & rng();  // sparse
    case 7:
      return r | rng() | rng();  // dense
    case 8:
      return 1u << shift;
    default:
      return r;
  }
}

std::vector<unsigned char> RandomTable(std::mt19937 &rng, uint32_t size) {
  std::vector<unsigned char> bytes(size);
  for (uint32_t i = 0; i < size; i += 4) {
    const uint32_t word = RandomWord(rng);
    std::memcpy(bytes.data() + i, &word, std::min<uint32_t>(4, size - i));
  }
  return bytes;
}

constexpr uint32_t kSizes[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,   10, 11,
                               12, 13, 16, 17, 20, 23, 32, 33, 64, 100, 131};

// Applies one random operation to both tables and compares result and bytes.
void CompareOneOperation(std::mt19937 &rng, NaiveTable &model, std::vector<unsigned char> &real) {
  const uint32_t size = model.size();
  void *table = real.empty() ? static_cast<void *>(&real) : real.data();  // non-null
  const uint32_t id_limit = size * 8 + 40;
  const uint32_t op = rng() % 8;
  SCOPED_TRACE(::testing::Message() << "size " << size << " op " << op);
  switch (op) {
    case 0:
    case 1: {
      const uint32_t mode = rng() % 5 == 0 ? rng() % 4 : op;
      ASSERT_EQ(SMAcquireHashID(table, size, mode), model.Acquire(mode)) << "mode " << mode;
      break;
    }
    case 2: {
      const uint32_t id = rng() % id_limit;
      ASSERT_EQ(SMAcquireHashIDByID(table, size, id), model.AcquireById(id)) << "id " << id;
      break;
    }
    case 3: {
      const uint32_t id = rng() % id_limit;
      ASSERT_EQ(SMVerifyHashID(table, size, id), model.Verify(id)) << "id " << id;
      break;
    }
    case 4: {
      const uint32_t id = rng() % id_limit;
      ASSERT_EQ(SMReleaseHashID(table, size, id), model.Release(id)) << "id " << id;
      break;
    }
    case 5:
      ASSERT_EQ(SMGetMinInUseID(table, size), model.Min());
      ASSERT_EQ(SMGetMaxInUseID(table, size), model.Max());
      break;
    case 6: {  // a whole enumeration
      uint32_t word = 7, bit = 9, model_word = 0, model_bit = 0;
      uint32_t id = SMFindFirstHashID(table, size, &word, &bit);
      uint32_t want = model.FindNext(&model_word, &model_bit);
      ASSERT_EQ(word, model_word);
      ASSERT_EQ(bit, model_bit);
      for (int guard = 0; guard < 2000; ++guard) {
        ASSERT_EQ(id, want);
        ASSERT_EQ(word, model_word);
        ASSERT_EQ(bit, model_bit);
        if (id == 0) break;
        id = SMFindNextHashID(table, size, &word, &bit);
        want = model.FindNext(&model_word, &model_bit);
      }
      break;
    }
    default: {  // a search from an arbitrary position, bits above 31 included
      uint32_t word = rng() % (size / 4 + 2), bit = rng() % 40;
      uint32_t model_word = word, model_bit = bit;
      ASSERT_EQ(SMFindNextHashID(table, size, &word, &bit), model.FindNext(&model_word, &model_bit))
          << "from " << model_word << ":" << model_bit;
      ASSERT_EQ(word, model_word);
      ASSERT_EQ(bit, model_bit);
      break;
    }
  }
  ASSERT_EQ(real, model.bytes());
}

TEST(HashIdModel, SingleOperationsOnRandomTablesMatchTheNaiveModel) {
  std::mt19937 rng(2024);
  for (uint32_t size : kSizes) {
    for (int round = 0; round < 1500; ++round) {
      std::vector<unsigned char> real = RandomTable(rng, size);
      NaiveTable model(real);
      ASSERT_NO_FATAL_FAILURE(CompareOneOperation(rng, model, real));
    }
  }
}

// Long sequences on one table: acquisitions fill it, releases punch holes,
// so mode 1's word choice meets full, empty and partial words in turn.
TEST(HashIdModel, OperationSequencesMatchTheNaiveModel) {
  std::mt19937 rng(77);
  for (uint32_t size : kSizes) {
    for (uint32_t seed = 0; seed < 4; ++seed) {
      std::vector<unsigned char> real(size, 0);
      NaiveTable model(real);
      for (int step = 0; step < 800; ++step) {
        ASSERT_NO_FATAL_FAILURE(CompareOneOperation(rng, model, real)) << "step " << step;
      }
    }
  }
}

// ---- edge cases ----------------------------------------------------------------

TEST(HashIdEdges, BytesNeeded) {
  struct Case {
    uint32_t max_id, bytes;
  };
  for (const Case &c : {Case{0, 0}, Case{1, 4}, Case{31, 4}, Case{32, 8}, Case{63, 8}, Case{64, 12},
                        Case{0x3FFFFFFE, 0x8000000}, Case{0x3FFFFFFF, 0}, Case{0xFFFFFFFF, 0}}) {
    EXPECT_EQ(SMHashTableBytesNeeded(c.max_id), c.bytes) << c.max_id;
  }
}

TEST(HashIdEdges, ClearZeroesTheWholeTable) {
  unsigned char table[13];
  std::memset(table, 0xFF, sizeof table);
  EXPECT_EQ(SMClearHashTable(table, sizeof table), 0u);
  for (unsigned char byte : table) EXPECT_EQ(byte, 0);
  EXPECT_EQ(SMClearHashTable(nullptr, 8), 271u);
}

TEST(HashIdEdges, LowestFirstCountsUpThenRunsOut) {
  uint32_t table[2] = {0, 0};
  for (uint32_t want = 1; want <= 63; ++want) ASSERT_EQ(SMAcquireHashID(table, 8, 0), want);
  EXPECT_EQ(SMAcquireHashID(table, 8, 0), 0u);
  EXPECT_EQ(SMAcquireHashID(table, 8, 1), 0u);
  EXPECT_EQ(table[0], 0xFFFFFFFEu);  // ID 0 was never taken
  EXPECT_EQ(table[1], 0xFFFFFFFFu);
}

TEST(HashIdEdges, ReleasedIdReturnsInModeZeroButNotInModeOne) {
  uint32_t table[2] = {0, 0};
  for (uint32_t id = 1; id <= 5; ++id) ASSERT_EQ(SMAcquireHashIDByID(table, 8, id), 0u);
  ASSERT_EQ(SMReleaseHashID(table, 8, 3), 0u);
  uint32_t copy[2] = {table[0], table[1]};
  EXPECT_EQ(SMAcquireHashID(table, 8, 0), 3u);
  EXPECT_EQ(SMAcquireHashID(copy, 8, 1), 6u);
}

TEST(HashIdEdges, ModeOneWordChoice) {
  struct Case {
    const char *what;
    std::vector<uint32_t> words;
    uint32_t want;
  };
  const Case cases[] = {
      {"empty table: ID 1", {0, 0, 0}, 1},
      {"the last partial word wins", {0x3, 0x0, 0x10, 0x0}, 69},
      {"an empty word counts only before any choice", {~0u, 0, 0}, 32},
      {"above the highest used bit with room above it", {0, 0x80000F01u}, 44},
      {"a top run only: lowest clear bit", {0, 0xFFFF0000u}, 32},
      {"the reserved bit alone is partial use", {1, 0}, 1},
      {"word 0 full but for the reserved bit", {0xFFFFFFFEu, ~0u}, 0},
      {"word 0 full, later word empty", {0xFFFFFFFEu, 0}, 32},
      {"earlier holes are not reused", {0xFFFF00FFu, 0x1}, 33},
  };
  for (const Case &c : cases) {
    std::vector<uint32_t> table = c.words;
    EXPECT_EQ(SMAcquireHashID(table.data(), static_cast<uint32_t>(table.size() * 4), 1), c.want)
        << c.what;
  }
}

TEST(HashIdEdges, ByIdRangeAndRepeat) {
  uint32_t table[2] = {0, 0};
  EXPECT_EQ(SMAcquireHashIDByID(table, 8, 64), 257u);
  EXPECT_EQ(SMAcquireHashIDByID(table, 8, 63), 0u);
  EXPECT_EQ(SMAcquireHashIDByID(table, 8, 63), 258u);
  EXPECT_EQ(SMVerifyHashID(table, 8, 64), 257u);
  EXPECT_EQ(SMReleaseHashID(table, 8, 64), 257u);
  EXPECT_EQ(SMVerifyHashID(table, 8, 63), 0u);
  // A zero-size table holds no ID at all.
  EXPECT_EQ(SMAcquireHashIDByID(table, 0, 0), 257u);
  EXPECT_EQ(SMAcquireHashIDByID(nullptr, 8, 1), 271u);
  EXPECT_EQ(SMVerifyHashID(nullptr, 8, 1), 271u);
  EXPECT_EQ(SMReleaseHashID(nullptr, 8, 1), 271u);
}

TEST(HashIdEdges, FreeIdsReportNotInUseAndStayFree) {
  uint32_t table[1] = {0x10};
  EXPECT_EQ(SMReleaseHashID(table, 4, 3), 12u);
  EXPECT_EQ(SMVerifyHashID(table, 4, 3), 12u);
  EXPECT_EQ(table[0], 0x10u);
  EXPECT_EQ(SMReleaseHashID(table, 4, 4), 0u);
  EXPECT_EQ(table[0], 0u);
}

TEST(HashIdEdges, ReservedIdIsSetOnlyByNumberAndIgnoredBySearches) {
  uint32_t table[2] = {0, 0};
  EXPECT_EQ(SMAcquireHashIDByID(table, 8, 0), 0u);
  EXPECT_EQ(table[0], 1u);
  EXPECT_EQ(SMVerifyHashID(table, 8, 0), 0u);
  uint32_t word, bit;
  EXPECT_EQ(SMFindFirstHashID(table, 8, &word, &bit), 0u);
  EXPECT_EQ(SMGetMaxInUseID(table, 8), 0u);
  // Only bit 0 in the first non-zero word: the minimum is 0 though 40 is used.
  ASSERT_EQ(SMAcquireHashIDByID(table, 8, 40), 0u);
  EXPECT_EQ(SMGetMinInUseID(table, 8), 0u);
  EXPECT_EQ(SMGetMaxInUseID(table, 8), 40u);
  EXPECT_EQ(SMAcquireHashID(table, 8, 0), 1u);
  EXPECT_EQ(SMGetMinInUseID(table, 8), 1u);
}

TEST(HashIdEdges, EnumerationYieldsEveryIdInOrder) {
  uint32_t table[4] = {0, 0, 0, 0};
  for (uint32_t id : {1u, 31u, 32u, 95u}) ASSERT_EQ(SMAcquireHashIDByID(table, 16, id), 0u);
  std::vector<uint32_t> seen;
  uint32_t word = 0, bit = 0;
  for (uint32_t id = SMFindFirstHashID(table, 16, &word, &bit); id != 0;
       id = SMFindNextHashID(table, 16, &word, &bit)) {
    seen.push_back(id);
    EXPECT_EQ(id, word * 32 + bit);
  }
  EXPECT_EQ(seen, (std::vector<uint32_t>{1, 31, 32, 95}));
  EXPECT_EQ(SMFindNextHashID(table, 16, &word, &bit), 0u);
  EXPECT_EQ(SMFindFirstHashID(table, 16, nullptr, &bit), 0u);
  EXPECT_EQ(SMFindNextHashID(nullptr, 16, &word, &bit), 0u);
}

TEST(HashIdEdges, TablesBelowFourBytesHaveNoScans) {
  unsigned char table[3] = {0xFF, 0xFF, 0xFF};
  uint32_t word = 0, bit = 0;
  EXPECT_EQ(SMAcquireHashID(table, 3, 0), 0u);
  EXPECT_EQ(SMAcquireHashID(table, 3, 1), 0u);
  EXPECT_EQ(SMGetMinInUseID(table, 3), 0u);
  EXPECT_EQ(SMGetMaxInUseID(table, 3), 0u);
  EXPECT_EQ(SMFindFirstHashID(table, 3, &word, &bit), 0u);
  // The IDs themselves are there to take by number.
  EXPECT_EQ(SMVerifyHashID(table, 3, 23), 0u);
  EXPECT_EQ(SMReleaseHashID(table, 3, 23), 0u);
  EXPECT_EQ(SMAcquireHashIDByID(table, 3, 24), 257u);
  EXPECT_EQ(table[2], 0x7F);
}

}  // namespace
