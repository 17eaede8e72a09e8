// Name-value parameters: the name matching rule, typed values through the
// translation, and enumeration tables, with single values or lists split at
// "|" or ",".
#include "values/parameters.h"

#include <strings.h>

#include <cctype>
#include <cstring>

#include "base/memory.h"
#include "values/translation.h"

namespace kx::values {

namespace {

// Compares the given name with the parameter over the parameter's name and
// its "=": a match when the given name ends exactly at the "=" or continues
// with an "=" of its own. `param` is a valid parameter.
bool NameMatches(const char *param, const char *name, bool fold_case) {
  for (size_t i = 0;; ++i) {
    const auto p = static_cast<unsigned char>(param[i]);
    const auto n = static_cast<unsigned char>(name[i]);
    if (p == '=') return n == 0 || n == '=';
    if (n == 0) return false;
    if (fold_case ? std::tolower(p) != std::tolower(n) : p != n) return false;
  }
}

// The first row of 1 to rows - 1 whose text equals `item` without regard to
// case, or null.
const SMEnum32Entry *FindRow(const SMEnum32Entry *table, uint32_t rows, const char *item) {
  for (uint32_t row = 1; row < rows; ++row) {
    if (table[row].pText != nullptr && strcasecmp(table[row].pText, item) == 0) {
      return &table[row];
    }
  }
  return nullptr;
}

}  // namespace

const char *NVPGetUTF8ParamValue(const char *param) {
  if (param == nullptr) return nullptr;
  const char *equals = std::strchr(param, '=');
  if (equals == nullptr || equals == param) return nullptr;
  return equals + 1;
}

int32_t IsValidParam(const char *param) {
  return NVPGetUTF8ParamValue(param) != nullptr ? 1 : 0;
}

char *NVPGetUTF8ParamName(char *param) {
  char *value = const_cast<char *>(NVPGetUTF8ParamValue(param));
  if (value == nullptr) return nullptr;
  value[-1] = 0;  // the "=" becomes the end of the name
  return param;
}

int32_t NVPGetParamIndexByUTF8Name(int32_t count, char *const *params, const char *name,
                                   uint32_t case_flag) {
  if (params == nullptr || name == nullptr) return -1;
  for (int32_t i = 0; i < count; ++i) {
    if (NVPGetUTF8ParamValue(params[i]) == nullptr) continue;  // no name: not a parameter
    if (NameMatches(params[i], name, case_flag == 1)) return i;
  }
  return -1;
}

char *NVPGetUTF8ParamValueByUTF8Name(int32_t count, char *const *params, const char *name,
                                     uint32_t case_flag) {
  const int32_t index = NVPGetParamIndexByUTF8Name(count, params, name, case_flag);
  return index < 0 ? nullptr : const_cast<char *>(NVPGetUTF8ParamValue(params[index]));
}

Status NVPUTF8ToTypeValue(int32_t count, char *const *params, const char *name, uint32_t case_flag,
                          void *value, uint32_t *size, uint32_t type) {
  if (params == nullptr || value == nullptr) return Status::kInvalidParameter;
  const int32_t index = NVPGetParamIndexByUTF8Name(count, params, name, case_flag);
  if (index < 0) return Status::kNotAvailable;
  return XLTUTF8ToTypeValue(NVPGetUTF8ParamValue(params[index]), value, size, type);
}

uint32_t NVPGetEnums32Value(int32_t count, char *const *params, const char *name,
                            uint32_t case_flag, const SMEnum32Entry *table, uint32_t rows,
                            uint32_t multiple) {
  if (params == nullptr || name == nullptr || table == nullptr || rows <= 1) {
    return kEnumBadArguments;
  }
  const int32_t index = NVPGetParamIndexByUTF8Name(count, params, name, case_flag);
  if (index < 0) return table[1].value;
  const char *value = NVPGetUTF8ParamValue(params[index]);

  if (multiple != 1) {
    const SMEnum32Entry *row = FindRow(table, rows, value);
    return row != nullptr ? row->value : table[0].value;
  }

  // A list: split at "|" when there is one, else at ",", else one item; the
  // items come back trimmed and separated by zero bytes.
  char separator = 0;
  if (std::strchr(value, '|') != nullptr) {
    separator = '|';
  } else if (std::strchr(value, ',') != nullptr) {
    separator = ',';
  }
  uint32_t items = 0;
  char *list = UTF8ConvertXSVToYSV(value, separator, '\0', &items, nullptr);
  if (list == nullptr) return kEnumBadArguments;
  uint32_t combined = 0;
  const char *item = list;
  for (uint32_t i = 0; i < items; ++i, item += std::strlen(item) + 1) {
    const SMEnum32Entry *row = FindRow(table, rows, item);
    if (row != nullptr) combined |= row->value;
  }
  kx::base::FreeMem(list);
  return combined;
}

}  // namespace kx::values
