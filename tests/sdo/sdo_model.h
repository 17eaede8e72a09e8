// Test oracle for SDO objects: a plain model of a property tree, an encoder of
// its binary form written from the format description alone (explicit
// little-endian bytes, no library code), random models, and a builder that
// turns a model into a config through the exported interface.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "kxsupt/sdo.h"

namespace sdotest {

using Bytes = std::vector<uint8_t>;

struct ConfigDeleter {
  void operator()(SDOConfig *config) const { SMSDOConfigFree(config); }
};
using ConfigPtr = std::unique_ptr<SDOConfig, ConfigDeleter>;

// The config's binary form, in a block of exactly the size it reports.
inline Bytes ToBinary(const SDOConfig *config) {
  Bytes image(SMSDOConfigGetBinarySize(config));
  uint32_t size = static_cast<uint32_t>(image.size());
  EXPECT_EQ(SMSDOConfigToBinary(config, image.data(), &size), 0u);
  EXPECT_EQ(size, image.size());
  return image;
}
inline uint32_t Add(SDOConfig *config, uint16_t id, const Bytes &bytes, uint8_t type = 1,
                    uint32_t replace = 0) {
  return SMSDOConfigAddData(config, id, type, bytes.data(), static_cast<uint32_t>(bytes.size()),
                            replace);
}

// The 30-byte layout example: IDs 3 (6 bytes, type 7) and 5 (0x1234, type 2).
inline const Bytes kSampleImage = {
    'B',  'O',  'D',  'S',  2,    0,    30, 0,  // magic 0x53444F42, count 2, total 30
    3,    0,    0x07, 0x04, 6,    0,    16, 0,  // ID 3: out of line, length 6, offset 16
    5,    0,    0x02, 0x01, 0x34, 0x12, 0,  0,  // ID 5: inline, 2 bytes
    0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5,         // the data area
};

struct ModelObject;

// One property as a config holds it: opaque bytes, or children (code 13).
struct ModelValue {
  uint8_t type = 0;
  Bytes bytes;                        // opaque values
  std::vector<ModelObject> children;  // code 13: one child, or the elements of an array

  bool isChild() const { return (type & 0x0F) == 13; }
  bool isArray() const { return (type & 0x10) != 0; }
  // The type byte the binary form carries: children travel under code 12.
  uint8_t binaryType() const { return isChild() ? static_cast<uint8_t>((type & 0xF0) | 12) : type; }
};

struct ModelObject {
  std::map<uint16_t, ModelValue> values;
};

inline void Put16(Bytes &out, size_t at, size_t v) {
  out[at] = static_cast<uint8_t>(v);
  out[at + 1] = static_cast<uint8_t>(v >> 8);
}
inline uint32_t Get16(const uint8_t *at) {
  return at[0] | (at[1] << 8);
}

Bytes EncodeObject(const ModelObject &object);

inline Bytes EncodeArray(const std::vector<ModelObject> &elements) {
  Bytes out = {'B', 'A', 'D', 'S', 0, 0, 0, 0};
  for (const ModelObject &element : elements) {
    Bytes image = EncodeObject(element);
    out.insert(out.end(), image.begin(), image.end());
  }
  Put16(out, 4, elements.size());
  Put16(out, 6, out.size());
  return out;
}

// The value as the binary form holds it: bytes, or a nested image.
inline Bytes ValueImage(const ModelValue &value) {
  if (!value.isChild()) return value.bytes;
  return value.isArray() ? EncodeArray(value.children) : EncodeObject(value.children.at(0));
}

inline Bytes EncodeObject(const ModelObject &object) {
  Bytes out(8 + 8 * object.values.size(), 0);
  out[0] = 'B', out[1] = 'O', out[2] = 'D', out[3] = 'S';
  Put16(out, 4, object.values.size());
  size_t record = 8;
  for (const auto &[id, value] : object.values) {
    Bytes image = ValueImage(value);
    Put16(out, record, id);
    out[record + 2] = value.binaryType();
    if (image.size() <= 4) {  // inline: storage byte is length - 1
      out[record + 3] = static_cast<uint8_t>(image.size() - 1);
      std::copy(image.begin(), image.end(), out.begin() + record + 4);
    } else {  // out of line: length, then offset from the record
      out[record + 3] = 0x04;
      Put16(out, record + 4, image.size());
      Put16(out, record + 6, out.size() - record);
      out.insert(out.end(), image.begin(), image.end());
    }
    record += 8;
  }
  Put16(out, 6, out.size());
  return out;
}

// An object image nested `levels` deep, built front to back without
// recursion: each level is a header and one record (ID 1, code 12, out of
// line at offset 8) holding the next level, and the innermost image is empty.
// 8 + 16 x levels bytes, so 4095 levels fill the format's 65535 bytes.
inline Bytes DeepImage(size_t levels) {
  Bytes out(8 + 16 * levels);
  for (size_t level = 0; level <= levels; ++level) {
    const size_t at = 16 * level, total = out.size() - at;
    out[at] = 'B', out[at + 1] = 'O', out[at + 2] = 'D', out[at + 3] = 'S';
    Put16(out, at + 4, level < levels ? 1 : 0);
    Put16(out, at + 6, total);
    if (level == levels) break;
    Put16(out, at + 8, 1);
    out[at + 10] = 0x0C, out[at + 11] = 0x04;
    Put16(out, at + 12, total - 16);
    Put16(out, at + 14, 8);
  }
  return out;
}

// As DeepImage, but each level's record (type 0x1C) holds a binary array of
// one element, the next level: 24 bytes a level, 2730 levels at most.
inline Bytes DeepArrayImage(size_t levels) {
  Bytes out(8 + 24 * levels);
  for (size_t level = 0; level <= levels; ++level) {
    const size_t at = 24 * level, total = out.size() - at;
    out[at] = 'B', out[at + 1] = 'O', out[at + 2] = 'D', out[at + 3] = 'S';
    Put16(out, at + 4, level < levels ? 1 : 0);
    Put16(out, at + 6, total);
    if (level == levels) break;
    Put16(out, at + 8, 1);
    out[at + 10] = 0x1C, out[at + 11] = 0x04;
    Put16(out, at + 12, total - 16);
    Put16(out, at + 14, 8);
    out[at + 16] = 'B', out[at + 17] = 'A', out[at + 18] = 'D', out[at + 19] = 'S';
    Put16(out, at + 20, 1);
    Put16(out, at + 22, total - 16);
  }
  return out;
}

// Random models, kept under a byte budget so the image stays within 65535.
class ModelGenerator {
 public:
  explicit ModelGenerator(uint32_t seed) : rng_(seed) {}

  ModelObject Object(int depth, size_t budget) {
    ModelObject object;
    size_t used = 8;
    const int wanted = Uniform(0, depth == 0 ? 48 : 10);
    for (int i = 0; i < wanted && used + 16 < budget; ++i) {
      uint16_t id = static_cast<uint16_t>(Uniform(1, 0xFFFD));
      if (object.values.count(id) != 0) continue;
      ModelValue value = Value(depth, budget - used - 8);
      const size_t size = ValueImage(value).size(), cost = size <= 4 ? 8 : 8 + size;
      if (used + cost > budget) continue;
      used += cost;
      object.values.emplace(id, std::move(value));
    }
    return object;
  }

  int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
  Bytes RandomBytes(size_t n) {
    Bytes bytes(n);
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(Uniform(0, 255));
    return bytes;
  }
  std::mt19937 &rng() { return rng_; }

 private:
  ModelValue Value(int depth, size_t budget) {
    ModelValue value;
    const uint8_t attributes = static_cast<uint8_t>(Uniform(0, 15) << 4);
    if (depth < 3 && budget > 64 && Uniform(0, 5) == 0) {
      const bool array = Uniform(0, 1) == 1;
      value.type = static_cast<uint8_t>((attributes & 0xE0) | (array ? 0x1D : 0x0D));
      const int elements = array ? Uniform(0, 4) : 1;
      for (int i = 0; i < elements; ++i) {
        value.children.push_back(Object(depth + 1, budget / (elements + 2)));
      }
      return value;
    }
    const int code = Uniform(attributes == 0 ? 1 : 0, 13);  // any but 12 and 13; type 0 is invalid
    value.type = static_cast<uint8_t>(attributes | (code < 12 ? code : code + 2));
    value.bytes = RandomBytes(Uniform(0, 3) == 0 ? Uniform(1, 64) : Uniform(1, 6));
    return value;
  }

  std::mt19937 rng_;
};

// Builds a config from a model through the exported interface, adding values
// in a random order and children either as handles (code 13) or as images
// (code 12). Null if any add fails.
inline SDOConfig *Build(const ModelObject &object, std::mt19937 &rng) {
  ConfigPtr config(SMSDOConfigAlloc());
  std::vector<uint16_t> order;
  for (const auto &entry : object.values) order.push_back(entry.first);
  std::shuffle(order.begin(), order.end(), rng);
  for (uint16_t id : order) {
    const ModelValue &value = object.values.at(id);
    // Empty arrays only exist in binary form: a handle array cannot be empty.
    if (!value.isChild() || value.children.empty() || rng() % 3 == 0) {
      if (Add(config.get(), id, ValueImage(value), value.binaryType()) != 0) return nullptr;
      continue;
    }
    std::vector<SDOConfig *> children;
    for (const ModelObject &element : value.children) children.push_back(Build(element, rng));
    // A single child is passed as the handle itself, an array as the handles.
    const void *data = value.isArray() ? static_cast<void *>(children.data()) : children[0];
    if (SMSDOConfigAddData(config.get(), id, value.type, data,
                           static_cast<uint32_t>(children.size() * sizeof(SDOConfig *)), 0) != 0) {
      for (SDOConfig *child : children) SMSDOConfigFree(child);
      return nullptr;
    }
  }
  return config.release();
}

}  // namespace sdotest
