// SDO binary: conversion between a config and its flat image, and the reads,
// the change and the walk that work on an image in place. Images from outside
// are read only through BinaryImage (binary_image.h).
#pragma once

#include <cstdint>

#include "kxsupt/sdo.h"
#include "sdo/config.h"

namespace kx::sdo {

// Writes `config`'s image into out[0, room): header, records, values, nested
// images written directly into the data area. *written is the data cursor
// reached. kSuccess when that equals the cached binary size, else kError (a
// nested conversion failed or the cached size was recomputed); a value that
// would pass `room` stops the writing, which then fails the same way.
Status WriteBinary(const Config &config, uint8_t *out, uint32_t room, uint32_t *written);

// SMSDOConfigToBinary: kInvalidParameter for null arguments, kBufferTooSmall
// (size unchanged) for room below the cached size, else WriteBinary's status
// with *size = bytes written.
Status SDOConfigToBinary(const Config *config, void *buffer, uint32_t *size);

// A new config from the object image at `binary`, of which at most `room` bytes
// may be read; null when the image is absent, inconsistent, or any value does
// not add. Nested images convert at any depth without deeper native stack.
Config *SDOBinaryToConfig(const void *binary, uint32_t room);

int32_t SDOBinaryGetCount(const void *binary, uint16_t *is_array);
uint32_t SDOBinaryGetSize(const void *binary, uint16_t *is_array);
Status SDOBinaryGetDataByID(const void *binary, uint16_t id, uint8_t *type, void *buffer,
                            uint32_t *size);
Status SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *id, uint8_t *type,
                               void *buffer, uint32_t *size);
Status SDOBinarySetData(void *binary, uint32_t *size, uint16_t id, uint8_t type, const void *data,
                        uint32_t data_size);

// SMSDOBinaryWalk. Each image is checked when its visit starts, so a damaged
// nested image ends the walk (kInvalidParameter) after its parents' callbacks.
Status SDOBinaryWalk(const void *binary, uint32_t context, SMSDOBinaryWalkBeginFn begin,
                     SMSDOBinaryWalkEntryFn entry, SMSDOBinaryWalkAfterEntryFn after_entry,
                     SMSDOBinaryWalkEndFn end, uint32_t recurse);

}  // namespace kx::sdo
