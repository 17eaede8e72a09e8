// kxsupt ipc list|clean: the named inter-process objects of the product. The
// key registry "<data dir>/.ipc/.lxsuptIPCini" (read through the library's
// INI engine) names every System V object and its key; the kernel says
// whether each exists and what it holds; the IPC directory holds the lock
// files of named mutexes and file locks. clean removes the unnamed semaphore
// sets whose creating process is gone, as the library does when it loads.
#include <dirent.h>
#include <fcntl.h>
#include <kxsupt.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kNameSection[] = "Unique String Name Key Section";
constexpr char kSetSection[] = "Semaphore List";
constexpr uint32_t kText = 1, kUint64 = 7;  // INI value types
constexpr uint32_t kWait = 1;               // wait for the file lock

// The key registry of the product's data directory ("mernex.vardatapath",
// else "dulo.vardatapath"); "" when neither is known.
std::string DefaultRegistry(std::string *ipc_dir) {
  for (int32_t product : {45, 44}) {
    uint32_t size = 0;
    if (SMGetPathByProductIDandType(product, 4, nullptr, &size) != SM_STATUS_SUCCESS) continue;
    std::string path(size, '\0');
    if (SMGetPathByProductIDandType(product, 4, path.data(), &size) != SM_STATUS_SUCCESS) continue;
    path.resize(std::strlen(path.c_str()));
    if (path.empty()) continue;
    *ipc_dir = path + "/.ipc";
    return *ipc_dir + "/.lxsuptIPCini";
  }
  return "";
}

// A NUL-separated list of a section's keys; 262/263 (no section, no key)
// give an empty list.
SMStatus ListKeys(const std::string &file, const char *section, std::vector<std::string> *keys) {
  uint32_t size = 256;
  std::string buffer;
  SMStatus status;
  do {
    buffer.assign(size, '\0');
    status = SMReadINIPathFileValue(section, nullptr, kText, buffer.data(), &size, nullptr, 0,
                                    file.c_str(), kWait);
  } while (status == SM_STATUS_BUFFER_TOO_SMALL && size > buffer.size());
  if (status == SM_STATUS_END_OF_FILE || status == SM_STATUS_ENTRY_NOT_FOUND) return 0;
  if (status != SM_STATUS_SUCCESS) return status;
  for (size_t at = 0; at < buffer.size() && buffer[at] != '\0';) {
    keys->emplace_back(buffer.c_str() + at);
    at += keys->back().size() + 1;
  }
  return SM_STATUS_SUCCESS;
}

bool ReadText(const std::string &file, const char *section, const std::string &key,
              std::string *value) {
  uint32_t size = 8193;
  std::string buffer(size, '\0');
  if (SMReadINIPathFileValue(section, key.c_str(), kText, buffer.data(), &size, nullptr, 0,
                             file.c_str(), kWait) != SM_STATUS_SUCCESS) {
    return false;
  }
  *value = buffer.c_str();
  return true;
}

bool ParseNumber(const std::string &text, uint64_t limit, uint64_t *value) {
  if (text.empty() || text.size() > 20) return false;
  uint64_t number = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    const uint64_t digit = static_cast<uint64_t>(c - '0');
    if (number > (limit - digit) / 10) return false;
    number = number * 10 + digit;
  }
  *value = number;
  return true;
}

bool ProcessAlive(uint64_t pid) {
  return access(("/proc/" + std::to_string(pid)).c_str(), F_OK) == 0;
}

const char *KindOf(const std::string &name) {
  const struct {
    const char *prefix, *kind;
  } kinds[] = {{"kxsupsmp", "semaphore"},
               {"kxsupevt", "event"},
               {"kxsupshm", "shared memory"},
               {"kxsuprwl", "reader-writer lock"}};
  for (const auto &entry : kinds) {
    if (name.compare(0, std::strlen(entry.prefix), entry.prefix) == 0) return entry.kind;
  }
  return "unknown";
}

Json Number(int64_t value) {
  return value < 0 ? Json() : Json(value);
}

// What the kernel holds for a registered name.
Json DescribeNamed(const std::string &name, uint32_t key) {
  const std::string kind = KindOf(name);
  Json object{{"name", name}, {"kind", kind}, {"key", key}};
  if (kind == "shared memory") {
    const int segment = shmget(static_cast<key_t>(key), 0, 0);
    struct shmid_ds info {};
    const bool exists = segment >= 0 && shmctl(segment, IPC_STAT, &info) == 0;
    object["exists"] = exists;
    object["id"] = exists ? Json(segment) : Json();
    object["size"] = exists ? Json(info.shm_segsz) : Json();
    object["attached"] = exists ? Json(info.shm_nattch) : Json();
    object["creator"] = exists ? Json(info.shm_cpid) : Json();
    // The guard is held (0) while the creator lives.
    const int guard = semget(static_cast<key_t>(key), 0, 0);
    object["guard"] =
        guard >= 0 ? Json(semctl(guard, 0, GETVAL) == 0 ? "held" : "free") : Json("none");
    return object;
  }
  const int set = semget(static_cast<key_t>(key), 0, 0);
  object["exists"] = set >= 0;
  object["id"] = set >= 0 ? Json(set) : Json();
  object["value"] = set >= 0 ? Number(semctl(set, 0, GETVAL)) : Json();
  // The kernel keeps no creator for a semaphore set; the last process that
  // changed it is the nearest it knows.
  object["creator"] = Json();
  object["last_pid"] = set >= 0 ? Number(semctl(set, 0, GETPID)) : Json();
  if (kind == "event" && set >= 0) {
    struct semid_ds info {};
    if (semctl(set, 0, IPC_STAT, &info) == 0) {
      object["reset"] = info.sem_nsems == 2 ? "manual" : "auto";
    }
  }
  return object;
}

// An unnamed set of "Semaphore List".
Json DescribeUnnamed(const std::string &entry, uint64_t creator, bool creator_known) {
  uint64_t id = 0;
  const bool numeric = ParseNumber(entry, INT32_MAX, &id);
  struct semid_ds info {};
  const bool exists = numeric && semctl(static_cast<int>(id), 0, IPC_STAT, &info) == 0;
  Json object{{"name", Json()},
              {"kind", "unnamed semaphore set"},
              {"key", Json()},
              {"exists", exists},
              {"id", numeric ? Json(id) : Json(entry)}};
  object["value"] = exists ? Number(semctl(static_cast<int>(id), 0, GETVAL)) : Json();
  object["creator"] = creator_known ? Json(creator) : Json();
  object["creator_alive"] = creator_known && ProcessAlive(creator);
  return object;
}

// Lock files of named mutexes (".kxsupmtx") and file locks (".kxsupflk").
void DescribeLockFiles(const std::string &ipc_dir, Json *objects) {
  DIR *dir = opendir(ipc_dir.c_str());
  if (dir == nullptr) return;
  std::vector<std::string> names;
  while (const dirent *entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.rfind(".kxsupmtx", 0) == 0 || name.rfind(".kxsupflk", 0) == 0) names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string &name : names) {
    const std::string path = ipc_dir + "/" + name;
    Json object{{"name", name.substr(1)},
                {"kind", name.rfind(".kxsupmtx", 0) == 0 ? "mutex" : "file lock"},
                {"key", Json()},
                {"exists", true},
                {"path", path}};
    // Whether some process holds a record lock on it now.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock probe {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    if (fd >= 0 && fcntl(fd, F_OFD_GETLK, &probe) == 0) {
      object["held"] = probe.l_type != F_UNLCK;
    } else {
      object["held"] = Json();
    }
    if (fd >= 0) close(fd);
    objects->push_back(object);
  }
}

std::string Field(const Json &value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.dump();
}

class IpcCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);
    CLI::App *list = sub.add_subcommand(
        "list", "every registered name with its key, kind, object, value or size and creator");
    list->add_flag("--json", json_, "print JSON");
    list->add_option("--file", file_, "the key registry to read (default: the product's)");
    list->callback([this] { action_ = kList; });
    CLI::App *clean = sub.add_subcommand(
        "clean", "remove the unnamed semaphore sets whose creating process is gone");
    clean->add_flag("--json", json_, "print JSON");
    clean->add_option("--file", file_, "the key registry to clean (default: the product's)");
    clean->callback([this] { action_ = kClean; });
  }

  int Run() override {
    std::string ipc_dir;
    if (file_.empty()) {
      file_ = DefaultRegistry(&ipc_dir);
      if (file_.empty()) {
        Complain("no data directory: the product registry names no mernex or dulo vardatapath");
        return kExitNotFound;
      }
    } else {
      const size_t slash = file_.find_last_of('/');
      ipc_dir = slash == std::string::npos ? "." : file_.substr(0, slash);
    }
    if (access(file_.c_str(), F_OK) != 0) {
      Complain("no key registry at " + file_);
      return kExitNotFound;
    }
    return action_ == kList ? List(ipc_dir) : Clean();
  }

 private:
  int List(const std::string &ipc_dir) {
    std::vector<std::string> names, sets;
    if (!Read(kNameSection, &names) || !Read(kSetSection, &sets)) return kExitBadInput;
    Json objects = Json::array();
    for (const std::string &name : names) {
      std::string text;
      uint64_t key = 0;
      if (!ReadText(file_, kNameSection, name, &text) || !ParseNumber(text, UINT32_MAX, &key)) {
        objects.push_back(Json{{"name", name}, {"kind", KindOf(name)}, {"key", Json()}});
        continue;
      }
      objects.push_back(DescribeNamed(name, static_cast<uint32_t>(key)));
    }
    for (const std::string &entry : sets) {
      uint64_t creator = 0;
      uint32_t size = sizeof creator;
      const bool known =
          SMReadINIPathFileValue(kSetSection, entry.c_str(), kUint64, &creator, &size, nullptr, 0,
                                 file_.c_str(), kWait) == SM_STATUS_SUCCESS;
      objects.push_back(DescribeUnnamed(entry, creator, known));
    }
    DescribeLockFiles(ipc_dir, &objects);
    if (json_) {
      std::cout << Json{{"registry", file_}, {"objects", objects}}.dump(2) << '\n';
      return kExitOk;
    }
    for (const Json &object : objects) {
      std::ostringstream line;
      line << Field(object["kind"]) << "  key " << Field(object["key"]) << "  id "
           << Field(object.value("id", Json())) << "  exists " << Field(object["exists"]);
      if (object.contains("value")) line << "  value " << Field(object["value"]);
      if (object.contains("size")) line << "  size " << Field(object["size"]);
      if (object.contains("guard")) line << "  guard " << Field(object["guard"]);
      if (object.contains("held")) line << "  held " << Field(object["held"]);
      if (object.contains("creator")) line << "  creator " << Field(object["creator"]);
      if (object.value("creator_alive", true) == false) line << " (gone)";
      if (!object["name"].is_null()) line << "  " << Field(object["name"]);
      std::cout << line.str() << '\n';
    }
    return kExitOk;
  }

  // Removes the set of every entry whose creator is gone and drops the
  // entry; an entry whose set no longer exists is dropped too (loading the
  // library keeps those). A set that cannot be removed keeps its entry.
  int Clean() {
    std::vector<std::string> sets;
    if (!Read(kSetSection, &sets)) return kExitBadInput;
    Json report = Json::array();
    for (const std::string &entry : sets) {
      uint64_t creator = 0;
      uint32_t size = sizeof creator;
      if (SMReadINIPathFileValue(kSetSection, entry.c_str(), kUint64, &creator, &size, nullptr, 0,
                                 file_.c_str(), kWait) != SM_STATUS_SUCCESS ||
          ProcessAlive(creator)) {
        continue;
      }
      uint64_t id = 0;
      std::string outcome;
      if (!ParseNumber(entry, INT32_MAX, &id)) {
        outcome = "kept: not a set identifier";
      } else if (semctl(static_cast<int>(id), 0, IPC_RMID) == 0) {
        outcome = "removed";
      } else if (errno == EINVAL || errno == EIDRM) {
        outcome = "dropped: the set was already gone";
      } else {
        outcome = std::string("kept: ") + std::strerror(errno);
      }
      if (outcome.rfind("kept", 0) != 0 &&
          SMWriteINIPathFileValue(kSetSection, entry.c_str(), kText, nullptr, 0, file_.c_str(),
                                  kWait) != SM_STATUS_SUCCESS) {
        outcome += " (its entry could not be dropped)";
      }
      report.push_back(Json{{"id", entry}, {"creator", creator}, {"outcome", outcome}});
    }
    if (json_) {
      std::cout << Json{{"registry", file_}, {"stale", report}}.dump(2) << '\n';
    } else if (report.empty()) {
      std::cout << "no stale semaphore sets\n";
    } else {
      for (const Json &row : report) {
        std::cout << "set " << row["id"].get<std::string>() << " (creator "
                  << row["creator"].get<uint64_t>() << "): " << row["outcome"].get<std::string>()
                  << '\n';
      }
    }
    return kExitOk;
  }

  bool Read(const char *section, std::vector<std::string> *keys) {
    const SMStatus status = ListKeys(file_, section, keys);
    if (status == SM_STATUS_SUCCESS) return true;
    Complain(file_ + ": the key registry cannot be read (status " + std::to_string(status) + ")");
    return false;
  }

  enum Action { kList, kClean };
  Action action_ = kList;
  bool json_ = false;
  std::string file_;
};

}  // namespace

KXSUPT_COMMAND(IpcCommand, "ipc",
               "list the named inter-process objects, or clean up after dead processes");

}  // namespace kxtool
