// Named IPC objects: an uncontended named mutex (lock + unlock: the local
// mutex and the lock file's record lock) against a process-shared pthread
// mutex in shared memory and against Boost.Interprocess's named_mutex; and
// the cost of creating the n-th named object as the key registry grows to
// 10,000 names (each creation reads the registry and rewrites it twice). The
// library runs over a sandbox registry in a temporary directory; everything
// made is removed at exit.
#include <benchmark/benchmark.h>
#include <kxsupt.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <boost/interprocess/sync/named_mutex.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "frame/lifecycle.h"

namespace {

namespace bip = boost::interprocess;

std::string g_dir;
uint32_t g_seed_key = 0;

std::string KeyRegistry() {
  return g_dir + "/var/.ipc/.lxsuptIPCini";
}

void RemoveSandbox() {
  // Sets still named in the registry (none, unless a case failed) go too.
  std::ifstream in(KeyRegistry());
  std::string line;
  while (std::getline(in, line)) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos || line.compare(0, 8, "kxsupsmp") != 0) continue;
    const int set = semget(static_cast<key_t>(std::stoul(line.substr(equals + 1))), 0, 0);
    if (set >= 0) semctl(set, 0, IPC_RMID);
  }
  std::error_code ignored;
  std::filesystem::remove_all(g_dir, ignored);
}

// The key registry with `names` entries in both sections after a random
// seed key, written as the library writes it.
void WriteRegistry(int names) {
  std::ofstream out(KeyRegistry(), std::ios::trunc);
  out << "[Unique String Name Key Section]\n";
  for (int i = 0; i < names; ++i) {
    out << "kxsupsmpFILL" << i << "=" << g_seed_key + 1 + static_cast<uint32_t>(i) << "\n";
  }
  out << "\n[Unique Numeric Value Key Section]\n" << g_seed_key << "=bench seed\n";
  for (int i = 0; i < names; ++i) {
    out << g_seed_key + 1 + static_cast<uint32_t>(i) << "=kxsupsmpFILL" << i << "\n";
  }
}

void Sandbox() {
  if (!g_dir.empty()) return;
  char pattern[] = "/tmp/kxsupt-ipc-bench-XXXXXX";
  g_dir = mkdtemp(pattern);
  std::filesystem::create_directories(g_dir + "/var/.ipc");
  std::ofstream(g_dir + "/vqreg.cfg") << "mernex.vardatapath=" << g_dir << "/var\n";
  // Keys far from those of any test that runs beside the benchmark.
  std::random_device entropy;
  g_seed_key = 0x70000000u + (entropy() % 0x1000u) * 0x10000u;
  WriteRegistry(0);
  setenv("KXSUPT_REGISTRY_FILE", (g_dir + "/vqreg.cfg").c_str(), 1);
  kx::frame::Lifecycle &library = kx::frame::Library();
  while (library.load_count() > 0) library.Unload();
  while (library.attach_count() > 0) library.Detach();
  library.Load();
  std::atexit(RemoveSandbox);
}

void NamedMutexOurs(benchmark::State &state) {
  Sandbox();
  void *mutex = SMMutexCreate("bench mutex");
  if (mutex == nullptr) {
    state.SkipWithError("no named mutex");
    return;
  }
  for (auto _ : state) {
    if (SMMutexLock(mutex, SM_WAIT_FOREVER) != SM_STATUS_SUCCESS ||
        SMMutexUnLock(mutex) != SM_STATUS_SUCCESS) {
      state.SkipWithError("lock failed");
      break;
    }
  }
  SMMutexDestroy(mutex);
}
BENCHMARK(NamedMutexOurs)->Name("named mutex lock+unlock, pthread pshared/ours");
BENCHMARK(NamedMutexOurs)->Name("named mutex lock+unlock, boost named_mutex/ours");

void PthreadSharedAnchor(benchmark::State &state) {
  void *memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto *mutex = static_cast<pthread_mutex_t *>(memory);
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  for (auto _ : state) {
    pthread_mutex_lock(mutex);
    pthread_mutex_unlock(mutex);
  }
  pthread_mutex_destroy(mutex);
  munmap(memory, sizeof(pthread_mutex_t));
}
BENCHMARK(PthreadSharedAnchor)->Name("named mutex lock+unlock, pthread pshared/anchor");

void BoostNamedMutexAnchor(benchmark::State &state) {
  const std::string name = "kxsupt-bench-" + std::to_string(getpid());
  bip::named_mutex::remove(name.c_str());
  {
    bip::named_mutex mutex(bip::create_only, name.c_str());
    for (auto _ : state) {
      mutex.lock();
      mutex.unlock();
    }
  }
  bip::named_mutex::remove(name.c_str());
}
BENCHMARK(BoostNamedMutexAnchor)->Name("named mutex lock+unlock, boost named_mutex/anchor");

// Creating a new named semaphore when the registry already holds n - 1
// names: the key allocation reads the registry (the name, then the key
// list) and rewrites it twice; the set itself costs the same at any n.
void CreateNthNamedObject(benchmark::State &state) {
  Sandbox();
  const int names = static_cast<int>(state.range(0)) - 1;
  WriteRegistry(names);
  int made = 0;
  for (auto _ : state) {
    const std::string name = "new " + std::to_string(names) + "." + std::to_string(made++);
    void *semaphore = SMSemaphoreCreate(name.c_str(), 0);
    state.PauseTiming();
    if (semaphore == nullptr) {
      state.SkipWithError("creation failed");
      break;
    }
    SMSemaphoreDestroy(semaphore);
    state.ResumeTiming();
  }
  state.counters["registry names"] = names;
}
BENCHMARK(CreateNthNamedObject)
    ->Name("create the n-th named object/ours")
    ->Arg(1)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(2500)
    ->Arg(5000)
    ->Arg(7500)
    ->Arg(10000)
    ->Iterations(20)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
