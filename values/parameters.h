// Name-value parameters: argv-like arrays of "name=value" UTF-8 strings,
// looked up by name and turned into typed values or enumeration codes. The
// routines allocate nothing lasting; results point into the caller's strings.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "kxsupt/values.h"

namespace kx::values {

// Result of the enumeration for bad arguments or a list that cannot be built.
inline constexpr uint32_t kEnumBadArguments = 0x80000000u;

// The byte after the first "=" of a parameter, or null when the string is
// null, has no "=" or begins with it (no name: not a parameter).
const char *NVPGetUTF8ParamValue(const char *param);

// 1 when the string is a parameter (has a name and a value), else 0.
int32_t IsValidParam(const char *param);

// Overwrites the first "=" of a parameter with 0 and returns the string, now
// its name alone; null (nothing written) when it is not a parameter.
char *NVPGetUTF8ParamName(char *param);

// Index of the first parameter whose name matches `name` (see the family
// header for the rule; case_flag 1 compares after tolower), or -1.
int32_t NVPGetParamIndexByUTF8Name(int32_t count, char *const *params, const char *name,
                                   uint32_t case_flag);

// The value of the first parameter matching `name`, or null.
char *NVPGetUTF8ParamValueByUTF8Name(int32_t count, char *const *params, const char *name,
                                     uint32_t case_flag);

// The matching parameter's value text translated by XLTUTF8ToTypeValue.
// kInvalidParameter for a null array or value, kNotAvailable when no
// parameter matches.
Status NVPUTF8ToTypeValue(int32_t count, char *const *params, const char *name, uint32_t case_flag,
                          void *value, uint32_t *size, uint32_t type);

// The matching parameter's value mapped through an enumeration table of
// `rows` rows; kEnumBadArguments for bad arguments.
uint32_t NVPGetEnums32Value(int32_t count, char *const *params, const char *name,
                            uint32_t case_flag, const SMEnum32Entry *table, uint32_t rows,
                            uint32_t multiple);

}  // namespace kx::values
