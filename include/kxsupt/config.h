/*
 * kxsupt: config family. The product registry and its install paths, and the
 * INI file engine.
 *
 * Every function runs on the caller's thread and may be called from any
 * thread. Paths and texts are 8-bit (UTF-8) strings. Functions that fill a
 * caller's buffer take its size in bytes through a pointer: a null buffer
 * only measures, a short one gives SM_STATUS_BUFFER_TOO_SMALL (16) with the
 * size needed written back. Strings that the library allocates are released
 * with SMFreeMem.
 */
#ifndef KXSUPT_CONFIG_H
#define KXSUPT_CONFIG_H

#include "kxsupt/base.h"
#include "kxsupt/values.h"

KXSUPT_BEGIN_DECLS

/* ---- Product registry and install paths --------------------------------
 *
 * The product registry (/etc/vqreg.cfg, else /usr/lib/ext/quor/vqreg.cfg; the
 * file named by KXSUPT_REGISTRY_FILE instead, when that is set) holds lines
 * "<component>.<type word>=<path>". Components and their product identifiers:
 * -1 tesk, 33 vaxo, 34 Korvane, 44 dulo, 88 pim7, 45 mernex, 35 Wexbridge.
 * Path types: 2 installpath, 4 vardatapath, 8 logpath, 16 configtool,
 * 64 inipath, 128 binpath (32 also selects the install path). Leading blanks
 * and ';' or '#' comments are skipped; the key is not trimmed and is compared
 * with case; the value loses its surrounding blanks and one trailing '/'.
 *
 * Each process caches every component's paths, reloading the whole cache on a
 * miss. The environment variable "<component>installpath" (lower case, then
 * upper case) overrides a component's install path; a type missing from the
 * registry takes the install path. Product -1 without a value of its own lives
 * in the parent directory of the tesk, Korvane or Wexbridge install path.
 * Statuses: 256 no value, 257 the path does not exist on disk, 271 unknown
 * type, 16 buffer too small.
 */

/* The path of a product and type. A null buffer returns the size alone. */
KXSUPT_API SMStatus SMGetPathByProductIDandType(int32_t productID, uint32_t pathType, char *pBuf,
                                                uint32_t *pSize);
/* The install path of product 35. */
KXSUPT_API SMStatus SMGetInstallPath(char *pBuf, uint32_t *pSize);
/* The install path (type 2) of a product. */
KXSUPT_API SMStatus SMGetInstallPathByProductID(int32_t productID, char *pBuf, uint32_t *pSize);
/* Copies pText with its first "@vqinstallpath@" (any letter case) replaced by
 * the install path of product -1. 271 for a null text, all ones for a text of
 * 255 bytes or more (size 0 for both). */
KXSUPT_API SMStatus SMExpandVqInstallPathString(const char *pText, char *pBuf, uint32_t *pSize);
/* A new copy of the component key of a product, or null. */
KXSUPT_API char *SMProductIDToSID(int32_t productID);
/* The product identifier of a component key (compared without case), or 0. */
KXSUPT_API int32_t SMProductSIDToID(const char *pSID);
/* A new path "<dir of product and type>[/<subdir>]/<file>", or null when the
 * file name is null or the directory is unknown or missing. */
KXSUPT_API char *SMMakePathFileNameByPIDAndType(int32_t productID, uint32_t pathType,
                                                const char *pSubDir, const char *pFileName);
/* As above with the install path (type 2). */
KXSUPT_API char *SMMakePathFileNameByPID(int32_t productID, const char *pSubDir,
                                         const char *pFileName);
/* A new path of the first existing file among root/dir/lang/subdir/file, (for
 * a language with "_", as in en_US, whose levels are en/US)
 * root/dir/en/subdir/file, and root/dir/subdir/file; null when none exists.
 * pDir and pFileName are required; a null root is "."; a null language is the
 * process's (from LANG); languages longer than 8 bytes give null. */
KXSUPT_API char *SMGetLocalizedPathFileName(const char *pRoot, const char *pDir,
                                            const char *pLanguage, const char *pSubDir,
                                            const char *pFileName);

/* A file's path and the modification time it had when last looked at. */
typedef struct SMFileProp {
  char *pathFileName;  /* owned copy of the path */
  int64_t lastModTime; /* seconds since 1970 */
} SMFileProp;

/* A new record for an existing file, or null when it cannot be examined. */
KXSUPT_API SMFileProp *SMFilePropAlloc(const char *pPathFileName);
/* 1 when the file's modification time changed since the record was made or
 * last compared (the record takes the new time); 0 otherwise, also when the
 * file cannot be examined. */
KXSUPT_API int32_t SMFilePropIsModified(SMFileProp *pFileProp);
/* Releases the record and its path copy. */
KXSUPT_API void SMFilePropFree(SMFileProp *pFileProp);

KXSUPT_END_DECLS

#endif /* KXSUPT_CONFIG_H */
