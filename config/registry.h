// The product registry: the fixed table of components and path types, direct
// lookups in the registry file, the per-process cache of every component's
// paths (with the environment's install-path overrides) and the routines built
// on it: install paths, "@vqinstallpath@" expansion, component names, path
// names and language-specific files. The cache is guarded by the registry
// mutex, created at attach; a process where the module did not attach
// serialises on a lock of its own and finds nothing.
#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"

namespace kx::config {

// Product identifiers of the component table.
inline constexpr int32_t kProductTesk = -1;
inline constexpr int32_t kProductWexbridge = 35;
inline constexpr int32_t kProductDulo = 44;
inline constexpr int32_t kProductMernex = 45;

// Path types (a bit each). kPathInstallAlias selects the install path in
// cached lookups only.
inline constexpr uint32_t kPathInstall = 2;
inline constexpr uint32_t kPathVarData = 4;
inline constexpr uint32_t kPathLog = 8;
inline constexpr uint32_t kPathConfigTool = 16;
inline constexpr uint32_t kPathInstallAlias = 32;
inline constexpr uint32_t kPathIni = 64;
inline constexpr uint32_t kPathBin = 128;

// The component key of a product identifier ("tesk", "vaxo", ...), or null.
const char *ComponentKey(int32_t product);

// Direct lookup of "<component>.<type word>" in the registry file, read afresh:
// the value with one trailing '/' removed. For product -1 a missing value
// falls back to the parent directory of the first of the tesk, Korvane and
// Wexbridge install paths that is present. Statuses: 0; 271 for an unknown
// product or type; 256 when nothing is found (also when no registry file is
// chosen).
Status LookupRegistryPath(int32_t product, uint32_t type, std::string *path);

// SMGetPathByProductIDandType: the cached path of a product and type. A null
// buffer asks the size; status 16 reports the size needed; 256 when there is
// no value, 257 when the path does not exist on disk (size 0), 271 for an
// unknown type. A miss reloads the whole cache once.
Status GetPathByProductIDandType(int32_t product, uint32_t type, char *buffer, uint32_t *size);
// The same lookup into a string; statuses as above.
Status CachedPath(int32_t product, uint32_t type, std::string *path);

// SMGetInstallPath: the install path of product 35.
Status GetInstallPath(char *buffer, uint32_t *size);
// SMGetInstallPathByProductID: the install path (type 2) of a product.
Status GetInstallPathByProductID(int32_t product, char *buffer, uint32_t *size);

// SMExpandVqInstallPathString: the text with its first "@vqinstallpath@"
// (matched in any letter case) replaced by the install path of product -1.
// Statuses: 271 for a null text or size (size 0); all ones for a text of 255
// bytes or more (size 0); 16 with the size needed; the install path's
// lookup status when it has none.
Status ExpandVqInstallPathString(const char *text, char *buffer, uint32_t *size);

// SMProductIDToSID: a copy of the component key from the library's heap, or
// null. SMProductSIDToID: the product of a key compared without letter case,
// or 0.
char *ProductIDToSID(int32_t product);
int32_t ProductSIDToID(const char *key);

// SMMakePathFileNameByPIDAndType / ByPID: "<dir>[/<subdir>]/<file>" from the
// library's heap, or null when the file name is null or the directory cannot
// be found.
char *MakePathFileNameByPIDAndType(int32_t product, uint32_t type, const char *subdir,
                                   const char *file);
char *MakePathFileNameByPID(int32_t product, const char *subdir, const char *file);

// SMGetLocalizedPathFileName: the first existing file among
// root/dir/lang/subdir/file, root/dir/lang-first-part/subdir/file and
// root/dir/subdir/file, from the library's heap; null when none exists or the
// directory or file name is missing. A null root is "."; a null language is
// the process's current language; a null subdirectory counts as empty.
char *GetLocalizedPathFileName(const char *root, const char *dir, const char *language,
                               const char *subdir, const char *file);

// Attach step 1: chooses the registry file, creates the registry mutex and an
// empty cache; 0 when there is no registry file. Detach destroys both.
int RegistryModuleAttach();
void RegistryModuleDetach();
// Attach step 2: fills the install-path cache from the registry; 0 when it
// could not be built. Detach clears it.
int InstallPathsAttach();
void InstallPathsDetach();

}  // namespace kx::config
