// sdo dump and encode, end to end: random documents survive encode, dump
// --json, encode byte for byte; the binaries agree with the library's own
// conversion; damaged images and bad documents exit 2 without crashing.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "kxsupt/sdo.h"
#include "tool_runner.h"

namespace {

using Json = nlohmann::ordered_json;
using kxtest::RunTool;
using kxtest::TempDir;

// Random documents: plain values of every length class and nested objects and
// arrays to depth 2, with IDs unique and ascending within each object.
class DocumentGenerator {
 public:
  explicit DocumentGenerator(uint32_t seed) : rng_(seed) {}

  Json Object(int depth) {
    Json entries = Json::array();
    int count = Uniform(0, 6);
    int id = 0;
    for (int i = 0; i < count; ++i) {
      id += Uniform(1, 500);
      Json entry{{"id", id}};
      int kind = depth < 2 ? Uniform(0, 5) : Uniform(0, 3);
      uint8_t attributes = static_cast<uint8_t>(Uniform(0, 7) << 5);
      if (kind == 4) {
        entry["type"] = attributes | 0x0C;
        entry["object"] = Object(depth + 1);
      } else if (kind == 5) {
        entry["type"] = attributes | 0x1C;
        Json elements = Json::array();
        for (int e = Uniform(1, 3); e > 0; --e) elements.push_back(Object(depth + 1));
        entry["array"] = elements;
      } else {
        int code;
        do code = Uniform(1, 11);
        while (code == 12 || code == 13);
        entry["type"] = attributes | code;
        std::string hex;
        for (int n = Uniform(1, 12); n > 0; --n) {
          char byte[3];
          std::snprintf(byte, sizeof byte, "%02x", Uniform(0, 255));
          hex += byte;
        }
        entry["hex"] = hex;
      }
      entries.push_back(entry);
    }
    return Json{{"entries", entries}};
  }

 private:
  int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng_); }
  std::mt19937 rng_;
};

// The same document built directly through the library, as the oracle for
// the tool's encoder.
SDOConfig *BuildDirect(const Json &object) {
  SDOConfig *config = SMSDOConfigAlloc();
  for (const Json &entry : object["entries"]) {
    uint16_t id = entry["id"];
    uint8_t type = entry["type"];
    if (entry.contains("object")) {
      SDOConfig *child = BuildDirect(entry["object"]);
      EXPECT_EQ(SMSDOConfigAddData(config, id, (type & 0xE0) | 0x0D, child, 8, 0),
                SM_STATUS_SUCCESS);
    } else if (entry.contains("array")) {
      std::vector<SDOConfig *> children;
      for (const Json &element : entry["array"]) children.push_back(BuildDirect(element));
      EXPECT_EQ(SMSDOConfigAddData(config, id, (type & 0xE0) | 0x1D, children.data(),
                                   static_cast<uint32_t>(8 * children.size()), 0),
                SM_STATUS_SUCCESS);
    } else {
      std::string hex = entry["hex"];
      std::vector<uint8_t> bytes;
      for (size_t i = 0; i < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
      }
      EXPECT_EQ(SMSDOConfigAddData(config, id, type, bytes.data(),
                                   static_cast<uint32_t>(bytes.size()), 0),
                SM_STATUS_SUCCESS);
    }
  }
  return config;
}

std::string LibraryImage(const Json &object) {
  SDOConfig *config = BuildDirect(object);
  uint32_t size = SMSDOConfigGetBinarySize(config);
  std::string image(size, '\0');
  EXPECT_EQ(SMSDOConfigToBinary(config, image.data(), &size), SM_STATUS_SUCCESS);
  SMSDOConfigFree(config);
  return image;
}

TEST(SdoCommands, random_documents_round_trip_byte_for_byte) {
  for (uint32_t seed = 1; seed <= 25; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Json document = DocumentGenerator(seed).Object(0);
    auto encoded = RunTool({"sdo", "encode", "-"}, document.dump());
    ASSERT_EQ(encoded.exit_status, 0) << encoded.err;
    EXPECT_EQ(encoded.out, LibraryImage(document));
    auto dumped = RunTool({"sdo", "dump", "--json", "-"}, encoded.out);
    ASSERT_EQ(dumped.exit_status, 0) << dumped.err;
    auto again = RunTool({"sdo", "encode", "-"}, dumped.out);
    ASSERT_EQ(again.exit_status, 0) << again.err;
    EXPECT_EQ(again.out, encoded.out);
    auto text = RunTool({"sdo", "dump", "-"}, encoded.out);
    EXPECT_EQ(text.exit_status, 0);
    EXPECT_EQ(text.out.rfind("SDO binary, ", 0), 0u);
  }
}

TEST(SdoCommands, binary_arrays_round_trip) {
  Json document{{"kind", "array"}, {"elements", Json::array()}};
  DocumentGenerator generator(99);
  for (int i = 0; i < 3; ++i) document["elements"].push_back(generator.Object(1));
  auto encoded = RunTool({"sdo", "encode", "-"}, document.dump());
  ASSERT_EQ(encoded.exit_status, 0) << encoded.err;
  EXPECT_EQ(encoded.out.substr(0, 4), "BADS");
  EXPECT_EQ(SMSDOBinaryGetCount(encoded.out.data(), nullptr), 3);
  auto dumped = RunTool({"sdo", "dump", "--json", "-"}, encoded.out);
  auto again = RunTool({"sdo", "encode", "-"}, dumped.out);
  EXPECT_EQ(again.out, encoded.out);
}

TEST(SdoCommands, damaged_images_exit_2_and_never_crash) {
  Json document = DocumentGenerator(7).Object(0);
  document["entries"].push_back(
      {{"id", 60000}, {"type", 0x0C}, {"object", DocumentGenerator(8).Object(1)}});
  std::string image = LibraryImage(document);
  std::mt19937 rng(5);
  for (int trial = 0; trial < 120; ++trial) {
    std::string damaged = image;
    if (trial % 3 == 0) {
      damaged.resize(rng() % image.size());
    } else {
      for (int flips = 1 + trial % 4; flips > 0; --flips) {
        damaged[rng() % damaged.size()] = static_cast<char>(rng());
      }
    }
    auto result = RunTool({"sdo", "dump", "-"}, damaged);
    EXPECT_TRUE(result.exit_status == 0 || result.exit_status == 2) << "trial " << trial;
    if (result.exit_status == 2) {
      EXPECT_EQ(result.err.rfind("kxsupt: -: ", 0), 0u);
    }
  }
}

TEST(SdoCommands, bad_documents_exit_2_with_a_reason) {
  const char *documents[] = {
      "not json",
      "[]",
      R"({"entries":[{"id":1,"type":4}]})",                            // no value
      R"({"entries":[{"id":1,"type":13,"hex":"0011223344556677"}]})",  // bytes as a handle
      R"({"entries":[{"id":0,"type":4,"hex":"00"}]})",                 // ID 0 is refused
      R"({"entries":[{"id":1,"type":4,"hex":"0"}]})",                  // odd hex
      R"({"entries":[{"id":1,"type":4,"hex":"00"},{"id":1,"type":4,"hex":"01"}]})",
      R"({"entries":[{"id":1,"type":4,"int":256,"length":1}]})",
  };
  for (const char *document : documents) {
    auto result = RunTool({"sdo", "encode", "-"}, document);
    EXPECT_EQ(result.exit_status, 2) << document;
    EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u) << document;
    EXPECT_TRUE(result.out.empty()) << document;
  }
}

TEST(SdoCommands, missing_file_is_not_found) {
  TempDir dir;
  auto result = RunTool({"sdo", "dump", dir.path() + "/nothing.sdo"});
  EXPECT_EQ(result.exit_status, 1);
}

}  // namespace
