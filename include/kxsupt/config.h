/*
 * kxsupt: config family. The product registry and its install paths, the
 * INI file engine, property files, and the process language with its
 * localized string tables.
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

/* ---- INI files ---------------------------------------------------------
 *
 * An INI file is a sequence of lines ending in LF: section headers "[name]"
 * (blanks before '[' allowed, anything after ']' ignored) and key lines
 * "key=value" inside sections. Keys are every byte before the first '='
 * after the line's leading blanks, untrimmed; values every byte after it up
 * to the LF (a CR stays in the value). Readers skip lines starting with ';'
 * or '#' in column 0 and lines without '='; keys before the first header are
 * invisible; the first matching section and key win. Names compare with
 * case. Lines longer than 8,449 bytes are read as several lines.
 *
 * Every call opens the file, works on it and closes it under the library's
 * file lock for the path (read mode for reads, write mode for writes), so a
 * change by any process shows on the next call. flags = 1 waits for the
 * lock; any other value tries once. Writes never edit in place: a complete
 * copy is written beside the file and swapped in through the backup name
 * (the part after the last '.' replaced by "bak"); a write interrupted
 * between the two renames is rolled back by the next call, so readers see
 * the old or the new file, never a mixture. Writes through a symbolic link
 * update its target and keep the link. Two spellings of one file exclude
 * each other.
 *
 * Value types: 1 UTF-8 text; 2 UCS-2 string and 3 byte array, stored as
 * "0x%02X" bytes joined by ','; 4 16-bit boolean ("TRUE"/"FALSE"); 5
 * unsigned and 6 signed 32-bit; 7 unsigned and 8 signed 64-bit (decimal);
 * 9 double ("%.8f"). Statuses: 2 bad argument or type, names over 255
 * bytes; 7 temporary file cannot be created; 16 value or list does not fit
 * (size out = needed); 19 write failed; 258 the copy cannot replace the
 * file; 260 file cannot be opened; 261 malformed header; 262 section absent;
 * 263 key absent; 264 value and size disagree, bad boolean, empty byte
 * array, value over 8,193 bytes; 270 backup cannot be removed; 272 no memory
 * or the lock cannot be made; all ones: directory cannot be created, no
 * temporary name, hexadecimal text that does not decode.
 */

/* Reads one value of the given type into pValue (*pSize bytes of room; the
 * bytes produced out; type 1 gives length + 1 even when it does not fit).
 * Type 1 with a null section lists the sections, with a null key the
 * section's keys: names each followed by NUL, closed by another NUL (262 no
 * section, 263 no key). When the read fails and a default is given, the
 * default is copied (type 1: at most *pSize bytes, the last forced to NUL;
 * types 4-9: their width 2, 4, 4, 8, 8, 8) and the failure status stays. */
KXSUPT_API SMStatus SMReadINIPathFileValue(const char *pSection, const char *pKey, uint32_t type,
                                           void *pValue, uint32_t *pSize, const void *pDefault,
                                           uint32_t defaultSize, const char *pPathFileName,
                                           uint32_t flags);
/* Sets, adds or removes a key, or removes a section. A new key goes after
 * the section's last key; a missing section is appended with the key. A
 * null value with size 0 removes the key; a null key removes the section up
 * to the next line starting with '[' or '#' in column 0. valueSize must
 * match: type 1 exactly the length + 1; types 4-9 at least 2, 4, 4, 8, 8, 8
 * bytes. The file's directory is created when missing. */
KXSUPT_API SMStatus SMWriteINIPathFileValue(const char *pSection, const char *pKey, uint32_t type,
                                            const void *pValue, uint32_t valueSize,
                                            const char *pPathFileName, uint32_t flags);
/* As SMReadINIPathFileValue for a bare file name in "<ini path of product
 * 35>/ini/"; all ones when that path is unknown, 16 when the combined path
 * would not fit 256 bytes. */
KXSUPT_API SMStatus SMReadINIFileValue(const char *pSection, const char *pKey, uint32_t type,
                                       void *pValue, uint32_t *pSize, const void *pDefault,
                                       uint32_t defaultSize, const char *pFileName,
                                       uint32_t flags);
/* As SMWriteINIPathFileValue for a bare file name, as above. */
KXSUPT_API SMStatus SMWriteINIFileValue(const char *pSection, const char *pKey, uint32_t type,
                                        const void *pValue, uint32_t valueSize,
                                        const char *pFileName, uint32_t flags);
/* A text value in a new buffer (release with SMFreeMem), its size through
 * pSize; null with size 0 on failure, except that the default comes back
 * when it stood in. Values up to 32,767 bytes. */
KXSUPT_API char *SMReadINISectionKeyUTF8Value(const char *pSection, const char *pKey,
                                              const char *pDefault, uint32_t *pSize,
                                              const char *pPathFileName, uint32_t flags);
/* The value of the first table row (from row 1) whose text equals the
 * stored text without regard to case; row 0's value when none does, row 1's
 * when the key cannot be read. With multiple = 1 the stored text is a
 * comma-separated list and the values of all matching items are ORed.
 * 0x80000000 for a null argument or fewer than 2 rows. */
KXSUPT_API uint32_t SMReadINIEnums32Value(const char *pSection, const char *pKey,
                                          const SMEnum32Entry *pTable, uint32_t rowCount,
                                          uint32_t multiple, const char *pPathFileName,
                                          uint32_t flags);
/* An 8-character name from [a-zA-Z0-9] that does not exist in pDir, into
 * pName (*pSize must be more than 8; 9 out). 16 (size 9) when it is not;
 * all ones when 100 draws are all taken. */
KXSUPT_API SMStatus SMGetTmpFile(const char *pDir, char *pName, uint32_t *pSize);

/* ---- Property files ----------------------------------------------------
 *
 * A property file is a text file of "key=value" lines without sections.
 * Leading blanks (tab, LF, CR, space) are skipped; a line is a comment when
 * it then starts with ';', '#', '!' or "//", and is ignored when fewer than
 * 2 bytes remain. The key runs up to the first blank, ':' or '='; the
 * separator is the whole run of blanks, ':' and '=' after it ("port: 8080"
 * and "port=8080" are the same); the value is the rest of the line without
 * its trailing blanks. A value ending in one backslash continues on the next
 * line, taken as it is, and the backslash becomes a LF; two backslashes do
 * not continue. A line's key answers every requested key that begins with
 * it (the line "port=1" answers "portal"); the first such line wins.
 *
 * Values are converted by the typed value translation (SMXLT*, the type
 * word of values.h). Locks, the crash-safe rewrite through the backup name
 * and the flags argument are those of the INI files below. A write replaces
 * the matching line (and its continuation lines) by "key=value"; it cannot
 * add a key: when no line matches, the file is rewritten EMPTY. Statuses:
 * 271 missing argument; 260 file cannot be opened; 263 key absent or no key
 * to list; 16 buffer too small (size out = needed); 272 no memory or the
 * lock cannot be made; 7, 19, 258, 270, all ones from the rewrite; the XLT
 * statuses for a text or value that does not convert.
 */

/* Reads the value of pKey as xltType into pValue (*pSize bytes of room; the
 * value's size out). A null pKey with the type code 13 (UTF-8) lists the
 * keys instead: each followed by a NUL, the list closed by another NUL (16
 * with the size needed when it does not fit); a null pKey with another type
 * is 2. On failure a default with a non-zero size no larger than the room
 * is copied and *pSize is its size; the failure status stays. */
KXSUPT_API SMStatus SMPropertyFileReadValue(const char *pKey, uint32_t xltType, void *pValue,
                                            uint32_t *pSize, const void *pDefault,
                                            uint32_t defaultSize, const char *pPathFileName,
                                            uint32_t flags);
/* Writes the text of the value (xltType, valueSize bytes) as "pKey=<text>"
 * over the first line that pKey begins with. The file must exist (260);
 * without a matching line it is left empty. */
KXSUPT_API SMStatus SMPropertyFileWriteValue(const char *pKey, uint32_t xltType,
                                             const void *pValue, uint32_t valueSize,
                                             const char *pPathFileName, uint32_t flags);

/* ---- Language and localized strings ------------------------------------
 *
 * Language identifiers and their texts: 1033 en_US (the default), 2057
 * en_GB, 1031 de, 1034 es, 1036 fr, 1041 ja, 2066 ko, 1046 pt_BR, 2052 zh,
 * 1028 zh_TW. The process language comes from LANG, compared exactly: an
 * unknown or unset LANG, and also "en_US.UTF-8", is 1033.
 *
 * String tables are INI files (grammar above). US English strings (language
 * 0, 437 or 1033) live in the section "ASCII EN_US DEFAULT STRING ID
 * SECTION" under the key "0:<id>"; other languages in "MISCELLANEOUS STRING
 * ID SECTION" under "<language>:<id>", both numbers in upper-case
 * hexadecimal without leading zeros ("40C:1F"). A text ends at its first CR
 * or LF. A string missing in a language comes from US English, and the
 * caller's language identifier is then set to 0.
 *
 * The product's own table is "<ini path of product 35>/ini/kxsdst32.ini".
 * Before it is read, identifiers from BaseID to BaseID + oemRange inclusive
 * get offset added; the three come from the section "OEM Configuration" of
 * the INI file "kxisdy32.ini" (bare-name form), read once per process, with
 * the defaults 2304, 32 and 0.
 */

/* The language identifier of the process (from LANG). */
KXSUPT_API uint32_t SMGetLocalLanguageID(void);
/* The string strID of the table at pPathFileName for *pLangID (null: US
 * English; 0, 437 and 1033 are set to 0). Returns the text's size with its
 * terminator, 0 when not found, and stores it through pSize; the text is
 * copied when pBuf has room for it. A null path yields the text "Invalid
 * Path File Name", failing allocations "Failed to allocate memory". */
KXSUPT_API uint32_t SMGetUTF8StrFromIDPathFile(uint32_t strID, uint32_t *pLangID,
                                               const char *pPathFileName, char *pBuf,
                                               uint32_t *pSize);
/* The same lookup in the product's table, after the OEM remapping, as UCS-2:
 * with pBuf and *pSize at least twice the UTF-8 size, the text is converted
 * and *pSize is its size in bytes (a string not found converts as the empty
 * text); otherwise *pSize is set to twice the UTF-8 size. Returns the UTF-8
 * size (0 when not found). */
KXSUPT_API uint32_t SMGetUCS2StrFromID(uint32_t strID, uint32_t *pLangID, uint16_t *pBuf,
                                       uint32_t *pSize);

KXSUPT_END_DECLS

#endif /* KXSUPT_CONFIG_H */
