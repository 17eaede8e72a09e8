// The INI engine against two common INI readers: one key read from a
// 1,000-line file (the last key, so that every reader passes over the whole
// file) against inih parsing the file and GLib's GKeyFile loading it and
// looking the key up; one key written against GKeyFile's load, set and save.
// Our side includes the cross-process file locks (and, for the write, the
// temporary copy and the two renames). The library runs over a sandbox
// registry in a temporary directory, removed at exit.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <ini.h>
#include <kxsupt.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "frame/lifecycle.h"

namespace {

constexpr int kSections = 50;
constexpr int kKeysPerSection = 19;  // with the headers, 1,000 lines
constexpr const char *kSection = "section49";
constexpr const char *kKey = "key18";

std::string g_dir;

void RemoveSandbox() {
  std::error_code ignored;
  std::filesystem::remove_all(g_dir, ignored);
}

void WriteIni(const std::string &path) {
  std::ofstream out(path, std::ios::trunc);
  for (int s = 0; s < kSections; ++s) {
    out << "[section" << s << "]\n";
    for (int k = 0; k < kKeysPerSection; ++k)
      out << "key" << k << "=value " << s << "." << k << "\n";
  }
}

// The sandbox: a registry naming a data directory inside a temporary
// directory, the library reloaded over it, and the INI files.
const std::string &Sandbox() {
  if (g_dir.empty()) {
    char pattern[] = "/tmp/kxsupt-bench-XXXXXX";
    g_dir = mkdtemp(pattern);
    std::filesystem::create_directory(g_dir + "/var");
    std::ofstream(g_dir + "/vqreg.cfg") << "mernex.vardatapath=" << g_dir << "/var\n";
    setenv("KXSUPT_REGISTRY_FILE", (g_dir + "/vqreg.cfg").c_str(), 1);
    kx::frame::Lifecycle &library = kx::frame::Library();
    while (library.load_count() > 0) library.Unload();
    while (library.attach_count() > 0) library.Detach();
    library.Load();
    WriteIni(g_dir + "/read.ini");
    WriteIni(g_dir + "/ours.ini");
    WriteIni(g_dir + "/glib.ini");
    std::atexit(RemoveSandbox);
  }
  return g_dir;
}

void ReadOurs(benchmark::State &state) {
  const std::string path = Sandbox() + "/read.ini";
  char value[64];
  for (auto _ : state) {
    uint32_t size = sizeof value;
    if (SMReadINIPathFileValue(kSection, kKey, 1, value, &size, nullptr, 0, path.c_str(), 1) != 0) {
      state.SkipWithError("read failed");
      break;
    }
    benchmark::DoNotOptimize(value);
  }
}

struct InihLookup {
  char value[64];
  bool found;
};

int InihHandler(void *user, const char *section, const char *name, const char *value) {
  auto *lookup = static_cast<InihLookup *>(user);
  if (!lookup->found && std::strcmp(section, kSection) == 0 && std::strcmp(name, kKey) == 0) {
    std::snprintf(lookup->value, sizeof lookup->value, "%s", value);
    lookup->found = true;
  }
  return 1;
}

void ReadInih(benchmark::State &state) {
  const std::string path = Sandbox() + "/read.ini";
  for (auto _ : state) {
    InihLookup lookup{};
    if (ini_parse(path.c_str(), InihHandler, &lookup) != 0 || !lookup.found) {
      state.SkipWithError("inih failed");
      break;
    }
    benchmark::DoNotOptimize(lookup.value);
  }
}

void ReadGKeyFile(benchmark::State &state) {
  const std::string path = Sandbox() + "/read.ini";
  for (auto _ : state) {
    GKeyFile *file = g_key_file_new();
    gchar *value = nullptr;
    if (g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr)) {
      value = g_key_file_get_string(file, kSection, kKey, nullptr);
    }
    if (value == nullptr) state.SkipWithError("GKeyFile failed");
    benchmark::DoNotOptimize(value);
    g_free(value);
    g_key_file_free(file);
  }
}

void WriteOurs(benchmark::State &state) {
  const std::string path = Sandbox() + "/ours.ini";
  int n = 0;
  for (auto _ : state) {
    const char *value = ++n % 2 ? "changed" : "again";
    if (SMWriteINIPathFileValue(kSection, kKey, 1, value, static_cast<uint32_t>(strlen(value) + 1),
                                path.c_str(), 1) != 0) {
      state.SkipWithError("write failed");
      break;
    }
  }
}

void WriteGKeyFile(benchmark::State &state) {
  const std::string path = Sandbox() + "/glib.ini";
  int n = 0;
  for (auto _ : state) {
    GKeyFile *file = g_key_file_new();
    bool saved = g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    if (saved) {
      g_key_file_set_string(file, kSection, kKey, ++n % 2 ? "changed" : "again");
      saved = g_key_file_save_to_file(file, path.c_str(), nullptr);
    }
    g_key_file_free(file);
    if (!saved) {
      state.SkipWithError("GKeyFile failed");
      break;
    }
  }
}

}  // namespace

BENCHMARK(ReadOurs)->Name("ini_read_key_vs_inih/ours");
BENCHMARK(ReadInih)->Name("ini_read_key_vs_inih/anchor");
BENCHMARK(ReadOurs)->Name("ini_read_key_vs_gkeyfile/ours");
BENCHMARK(ReadGKeyFile)->Name("ini_read_key_vs_gkeyfile/anchor");
BENCHMARK(WriteOurs)->Name("ini_write_key_vs_gkeyfile/ours");
BENCHMARK(WriteGKeyFile)->Name("ini_write_key_vs_gkeyfile/anchor");
