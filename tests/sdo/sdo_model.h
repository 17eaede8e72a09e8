// Test oracle for SDO objects: a plain model of a property tree, an encoder of
// its binary form written from the format description alone (explicit
// little-endian bytes, no library code), and builders that turn a model into
// configs through the exported interface.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/sdo.h"

namespace sdotest {

using Bytes = std::vector<uint8_t>;

struct ModelObject;

// One property as a config holds it: opaque bytes, or children (code 13).
struct ModelValue {
  uint8_t type = 0;
  Bytes bytes;                        // opaque values
  std::vector<ModelObject> children;  // code 13: one child, or the elements of an array

  bool isChild() const { return (type & 0x0F) == 13; }
  bool isArray() const { return (type & 0x10) != 0; }
  // The type byte the binary form carries: children travel under code 12.
  uint8_t binaryType() const {
    return isChild() ? static_cast<uint8_t>((type & 0xF0) | 0x0C) : type;
  }
};

struct ModelObject {
  std::map<uint16_t, ModelValue> values;
};

inline void Put16(Bytes &out, size_t at, uint32_t v) {
  out[at] = static_cast<uint8_t>(v);
  out[at + 1] = static_cast<uint8_t>(v >> 8);
}
inline void Put32(Bytes &out, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) out[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint32_t Get16(const uint8_t *at) {
  return at[0] | (at[1] << 8);
}

Bytes EncodeObject(const ModelObject &object);

inline Bytes EncodeArray(const std::vector<ModelObject> &elements) {
  Bytes out(8, 0);
  out[0] = 'B', out[1] = 'A', out[2] = 'D', out[3] = 'S';
  for (const ModelObject &element : elements) {
    Bytes image = EncodeObject(element);
    out.insert(out.end(), image.begin(), image.end());
  }
  Put16(out, 4, static_cast<uint32_t>(elements.size()));
  Put16(out, 6, static_cast<uint32_t>(out.size()));
  return out;
}

// The value as the binary form holds it: bytes, or a nested image.
inline Bytes ValueImage(const ModelValue &value) {
  if (!value.isChild()) return value.bytes;
  return value.isArray() ? EncodeArray(value.children) : EncodeObject(value.children.at(0));
}

inline Bytes EncodeObject(const ModelObject &object) {
  const size_t n = object.values.size();
  Bytes out(8 + 8 * n, 0);
  out[0] = 'B', out[1] = 'O', out[2] = 'D', out[3] = 'S';
  Put16(out, 4, static_cast<uint32_t>(n));
  size_t record = 8;
  for (const auto &[id, value] : object.values) {
    Bytes image = ValueImage(value);
    Put16(out, record, id);
    out[record + 2] = value.binaryType();
    if (image.size() <= 4) {
      out[record + 3] = static_cast<uint8_t>(image.size() - 1);
      for (size_t i = 0; i < image.size(); ++i) out[record + 4 + i] = image[i];
    } else {
      out[record + 3] = 0x04;
      Put16(out, record + 4, static_cast<uint32_t>(image.size()));
      Put16(out, record + 6, static_cast<uint32_t>(out.size() - record));
      out.insert(out.end(), image.begin(), image.end());
    }
    record += 8;
  }
  Put16(out, 6, static_cast<uint32_t>(out.size()));
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
      size_t cost = ValueImage(value).size();
      cost = cost <= 4 ? 8 : 8 + cost;
      if (used + cost > budget) continue;
      used += cost;
      object.values.emplace(id, std::move(value));
    }
    return object;
  }

  int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
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
    static constexpr uint8_t kOpaqueCodes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 14, 15};
    do {
      value.type = static_cast<uint8_t>(attributes | kOpaqueCodes[Uniform(0, 13)]);
    } while (value.type == 0);
    const int length = Uniform(0, 3) == 0 ? Uniform(1, 64) : Uniform(1, 6);
    for (int i = 0; i < length; ++i) value.bytes.push_back(static_cast<uint8_t>(Uniform(0, 255)));
    return value;
  }

  std::mt19937 rng_;
};

// Builds a config from a model through the exported interface, adding values
// in a random order and children either as handles (code 13) or as images
// (code 12). Null if any add fails.
inline SDOConfig *Build(const ModelObject &object, std::mt19937 &rng) {
  SDOConfig *config = SMSDOConfigAlloc();
  std::vector<uint16_t> order;
  for (const auto &entry : object.values) order.push_back(entry.first);
  std::shuffle(order.begin(), order.end(), rng);
  for (uint16_t id : order) {
    const ModelValue &value = object.values.at(id);
    uint32_t status;
    // Empty arrays only exist in binary form: a handle array cannot be empty.
    const bool asImage = value.isChild() && (value.children.empty() || rng() % 3 == 0);
    if (!value.isChild()) {
      status = SMSDOConfigAddData(config, id, value.type, value.bytes.data(),
                                  static_cast<uint32_t>(value.bytes.size()), 0);
    } else if (asImage) {
      Bytes image = ValueImage(value);
      status = SMSDOConfigAddData(config, id, static_cast<uint8_t>((value.type & 0xF0) | 0x0C),
                                  image.data(), static_cast<uint32_t>(image.size()), 0);
    } else if (!value.isArray()) {
      SDOConfig *child = Build(value.children[0], rng);
      status = SMSDOConfigAddData(config, id, value.type, child, 8, 0);
      if (status != 0) SMSDOConfigFree(child);
    } else {
      std::vector<SDOConfig *> children;
      for (const ModelObject &element : value.children) children.push_back(Build(element, rng));
      status = SMSDOConfigAddData(config, id, value.type, children.data(),
                                  static_cast<uint32_t>(children.size() * sizeof(SDOConfig *)), 0);
      if (status != 0) {
        for (SDOConfig *child : children) SMSDOConfigFree(child);
      }
    }
    if (status != 0) {
      SMSDOConfigFree(config);
      return nullptr;
    }
  }
  return config;
}

}  // namespace sdotest
