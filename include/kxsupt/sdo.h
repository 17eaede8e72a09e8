/*
 * Self-describing data objects (SDO): typed property sets in memory and their
 * flat binary forms.
 */
#ifndef KXSUPT_SDO_H
#define KXSUPT_SDO_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/*
 * SDO config objects. An SDOConfig is a set of typed values, each under a
 * 16-bit property ID (every ID except 0, 0xFFFE and 0xFFFF), kept in ascending
 * ID order. A value's type byte holds a type code in bits 0-3, an array flag in
 * bit 4 and three attribute bits (5-7) that are stored but never interpreted.
 * Code 13 is a nested config: without the array flag the data argument of
 * SMSDOConfigAddData is the child's handle itself, with the flag (type 0x1D) it
 * points to an array of child handles (8 bytes each). Children pass to the
 * parent, which frees them with itself; handles that reads return stay owned by
 * the parent. Code 12 is a nested object in binary form ("SDOB" or "SDAB"),
 * converted to code 13 on the way in; like SMSDOBinaryToConfig it is bounded
 * by its own header, and its data size need only be non-zero. Configs and
 * images nest to any depth that fits in 65535 bytes, and no operation needs
 * more native stack for a deeper one. The config keeps, at all times, the size
 * of its binary form (at most 65535 bytes). Statuses: 271 for a null handle or
 * pointer, an invalid ID or a zero type byte; 12 for an index not below the
 * count; 16 for a missing or short buffer (the size needed is written back);
 * 19 when a limit would be passed; 256 for an absent ID; 258 for an ID that
 * exists; 272 when memory runs out. Callers serialise access to one config.
 */

/* An SDO config object: an opaque handle from SMSDOConfigAlloc. */
typedef struct SDOConfig SDOConfig;

/* A new empty config (binary size 8), or null when memory runs out. */
KXSUPT_API SDOConfig *SMSDOConfigAlloc(void);
/* Frees a config with all its values and children; null is ignored. */
KXSUPT_API void SMSDOConfigFree(SDOConfig *pConfig);
/* An independent deep copy (children copied too), or null. */
KXSUPT_API SDOConfig *SMSDOConfigClone(const SDOConfig *pConfig);
/* 1 when both configs have identical binary forms (two nulls are equal), else 0. */
KXSUPT_API int32_t SMSDOConfigCompareByValue(const SDOConfig *pConfigA, const SDOConfig *pConfigB);
/* Number of values; 0xFFFFFFFF for a null config. */
KXSUPT_API uint32_t SMSDOConfigGetCount(const SDOConfig *pConfig);
/* Adds (or, with replace exactly 1, replaces) the value under id. A failed add
 * leaves the config as it was. 0xFFFFFFFF: code-12 object data that does not convert. */
KXSUPT_API SMStatus SMSDOConfigAddData(SDOConfig *pConfig, uint16_t id, uint8_t type,
                                       const void *pData, uint32_t dataSize, uint32_t replace);
/* Copies the value under id; a null buffer only measures (16). *pSize: room in,
 * value size out; the type byte is written whenever the ID is found. */
KXSUPT_API SMStatus SMSDOConfigGetDataByID(const SDOConfig *pConfig, uint16_t id, uint8_t *pType,
                                           void *pBuffer, uint32_t *pSize);
/* As SMSDOConfigGetDataByID for the value at position index in ascending ID
 * order; its ID is written to *pID (required) whenever it is found. */
KXSUPT_API SMStatus SMSDOConfigGetDataByIndex(const SDOConfig *pConfig, uint32_t index,
                                              uint16_t *pID, uint8_t *pType, void *pBuffer,
                                              uint32_t *pSize);
/* Removes the value under id, or at index when id is invalid; removeAll non-zero
 * empties the config. Children of a removed value are freed. */
KXSUPT_API SMStatus SMSDOConfigRemoveData(SDOConfig *pConfig, uint16_t id, uint32_t index,
                                          uint32_t removeAll);
/* Size of the binary form SMSDOConfigToBinary will write; 0 for a null config. */
KXSUPT_API uint32_t SMSDOConfigGetBinarySize(const SDOConfig *pConfig);
/* Recomputes the binary size by a sum of its own (8 per value plus the value's
 * full size, children's sizes without array headers) and keeps it; 0 for null.
 * The sum differs from the true size when values of 1-4 bytes or arrays are
 * held, and such a config then no longer converts (0xFFFFFFFF). */
KXSUPT_API uint32_t SMSDOConfigReCalcBinarySize(SDOConfig *pConfig);

/*
 * SDO binary. The flat, pointer-free form of a config, read and changed in
 * place: a header (magic 0x53444F42, "BODS" in memory on this little-endian
 * host; 16-bit entry count; 16-bit total size), one 8-byte record per value in
 * ascending ID order (ID, type byte, storage byte, then either the value itself
 * when it has 1-4 bytes or its 16-bit length and offset from the record), then
 * the longer values back to back. Children appear as complete nested images
 * under type code 12. Integers are in host byte order. The readers check every
 * header, record, offset and nested image against the declared total size (a
 * nested image against the value holding it) and refuse an inconsistent image
 * as they refuse a wrong magic; the room a caller states bounds only what is
 * written. Statuses: 271 for
 * a null or invalid argument (and a wrong magic when setting or walking); 257
 * for a wrong magic when reading; 12, 16 and 256 as for configs; 0xFFFFFFFF
 * when a conversion writes a size other than the config's binary size.
 */

/* Converts a config into pBuffer. *pSize: room in (16, unchanged, if below the
 * binary size), bytes written out. */
KXSUPT_API SMStatus SMSDOConfigToBinary(const SDOConfig *pConfig, void *pBuffer, uint32_t *pSize);
/* A new config from an "SDOB" image, or null when it is absent or does not convert. */
KXSUPT_API SDOConfig *SMSDOBinaryToConfig(const void *pBinary);
/* Entry count ("SDOB") or element count ("SDAB"), -1 for another magic; *pIsArray
 * (may be null) is 1 for an array, else 0. */
KXSUPT_API int32_t SMSDOBinaryGetCount(const void *pBinary, uint16_t *pIsArray);
/* Total size from the header of an "SDOB" or "SDAB" image, 0 for another magic. */
KXSUPT_API uint32_t SMSDOBinaryGetSize(const void *pBinary, uint16_t *pIsArray);
/* Reads the value under id in place. A value of 1-4 bytes always reads as its
 * whole 4-byte slot. The type byte is written only on success. */
KXSUPT_API SMStatus SMSDOBinaryGetDataByID(const void *pBinary, uint16_t id, uint8_t *pType,
                                           void *pBuffer, uint32_t *pSize);
/* Reads the value of record index in place, with its real length. 12 for an
 * index not below the header's count (tested before the magic). */
KXSUPT_API SMStatus SMSDOBinaryGetDataByIndex(const void *pBinary, uint32_t index, uint16_t *pID,
                                              uint8_t *pType, void *pBuffer, uint32_t *pSize);
/* Changes the value of an existing id whose type byte equals type, in place when
 * the length allows, else by rewriting the block. *pSize: room in the block in
 * (16 when 15 or less, or when the new form does not fit: size needed out),
 * total size out. */
KXSUPT_API SMStatus SMSDOBinarySetData(void *pBinary, uint32_t *pSize, uint16_t id, uint8_t type,
                                       const void *pData, uint32_t dataSize);

/* Walk callbacks. A non-zero result of begin or entry ends the whole walk with
 * that result; so does a non-zero result of a nested image's visit. */
/* Start of an image: the parent's cookie (0 at the top), 1 for an array, the
 * count, the element index (-1 at the top and for images nested in a value). */
typedef uint32_t (*SMSDOBinaryWalkBeginFn)(uint32_t context, uint32_t parentCookie,
                                           uint32_t isArray, uint32_t count, int32_t elementIndex,
                                           const void *pImage);
/* One record: a cookie slot (0 on entry) for the callback to fill, the ID, type
 * bits 6-7 (0-3), bit 5, bit 4 (array flag), the code (bits 0-3), and the value. */
typedef uint32_t (*SMSDOBinaryWalkEntryFn)(uint32_t context, uint32_t *pCookie, uint16_t id,
                                           uint32_t attributes, uint32_t attributeBit5,
                                           uint32_t isArray, uint32_t typeCode, uint32_t length,
                                           const void *pValue);
/* After a record (and its nested image): the cookie the entry callback left. */
typedef uint32_t (*SMSDOBinaryWalkAfterEntryFn)(uint32_t context, uint32_t cookie);
/* End of an image; its result is the image's result. */
typedef uint32_t (*SMSDOBinaryWalkEndFn)(uint32_t context, uint32_t parentCookie, uint32_t isArray);
/* Visits an "SDOB" or "SDAB" image: begin, each record (or array element), end.
 * Each image is checked when its visit starts, so a damaged one ends the walk
 * (271) after the callbacks of what came before it. Empty images make no
 * callback. With recurse (as a signed 16-bit value) equal to 1, nested images
 * under code 12 and the records of array elements are visited too. begin and
 * entry are required (271); afterEntry and end may be null. The result is
 * end's, else the last afterEntry result, else 0. */
KXSUPT_API SMStatus SMSDOBinaryWalk(const void *pBinary, uint32_t context,
                                    SMSDOBinaryWalkBeginFn begin, SMSDOBinaryWalkEntryFn entry,
                                    SMSDOBinaryWalkAfterEntryFn afterEntry,
                                    SMSDOBinaryWalkEndFn end, uint32_t recurse);

/*
 * SDO binary arrays. A block holding complete "SDOB" images back to back after
 * a header (magic 0x53444142, "BADS" in memory; 16-bit element count; 16-bit
 * total size, at most 65535). It is the binary form of an array of configs.
 * Statuses: 271 for null arguments and a wrong magic when appending; 257 for a
 * wrong magic of the array or of an element read; 256 for an index beyond the
 * count; 16 for a short buffer, room, or capacity; 272 when memory runs out;
 * 0xFFFFFFFF when an element does not convert.
 */

/* Writes the empty header (count 0, size 8) into a buffer of at least 8 bytes. */
KXSUPT_API SMStatus SMSDOBinaryArrayInitHeader(void *pBuffer, uint32_t bufferSize);
/* Appends a copy of an element image, as given, where the elements end when
 * stepped over by their declared sizes. *pSize: room in the block (16 when 15
 * or less; when short, 16 with the size needed out); unchanged on success. */
KXSUPT_API SMStatus SMSDOBinaryArrayAddData(void *pArray, uint32_t *pSize, const void *pElement,
                                            uint32_t elementSize);
/* Copies element index (an "SDOB" image); a null buffer only measures (16).
 * The second argument is not used. */
KXSUPT_API SMStatus SMSDOBinaryArrayGetByIndex(const void *pArray, uint32_t unused, uint32_t index,
                                               void *pBuffer, uint32_t *pSize);
/* Converts count configs (null handles skipped) into one array. Without a buffer
 * only measures, and the size reported then leaves out the 8-byte header. Elements
 * that no longer fit are left out without an error: compare *pSize with the room. */
KXSUPT_API SMStatus SMSDOConfigArrayToBinaryArray(SDOConfig *const *ppConfigs, uint32_t count,
                                                  void *pBuffer, uint32_t *pSize);
/* Converts every element into a new config in ppConfigs. *pCount: capacity in
 * handles in (16 with the element count out when too small), count out. On a
 * failure every non-null handle within the capacity is freed and set to null. */
KXSUPT_API SMStatus SMSDOBinaryArrayToConfigArray(const void *pArray, SDOConfig **ppConfigs,
                                                  uint32_t *pCount);

KXSUPT_END_DECLS

#endif /* KXSUPT_SDO_H */
