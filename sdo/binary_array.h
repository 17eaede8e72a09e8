// SDO binary arrays: blocks of complete object images back to back, the binary
// form of an array of configs. Appending, reading one element, and converting
// between an array of configs and one block.
#pragma once

#include <cstdint>

#include "sdo/config.h"

namespace kx::sdo {

Status SDOBinaryArrayInitHeader(void *buffer, uint32_t buffer_size);
Status SDOBinaryArrayAddData(void *array, uint32_t *size, const void *element,
                             uint32_t element_size);
Status SDOBinaryArrayGetByIndex(const void *array, uint32_t index, void *buffer, uint32_t *size);

// SMSDOConfigArrayToBinaryArray: a null buffer only measures (without the
// header); elements that no longer fit the room are left out silently.
Status SDOConfigArrayToBinaryArray(Config *const *configs, uint32_t count, void *buffer,
                                   uint32_t *size);

// SMSDOBinaryArrayToConfigArray over an array image of which at most `room`
// bytes may be read. On a failure after the capacity test every non-null
// handle within the capacity is freed and set to null.
Status SDOBinaryArrayToConfigArray(const void *array, uint32_t room, Config **configs,
                                   uint32_t *count);

}  // namespace kx::sdo
