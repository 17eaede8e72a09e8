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
// reached. 0 when that equals the cached binary size, else 0xFFFFFFFF (a
// nested conversion failed or the cached size was recomputed); a value that
// would pass `room` stops the writing, which then fails the same way.
uint32_t WriteBinary(const Config &config, uint8_t *out, uint32_t room, uint32_t *written);

// SMSDOConfigToBinary: 271 for null arguments, 16 (size unchanged) for room
// below the cached size, else WriteBinary's status with *size = bytes written.
uint32_t ConfigToBinary(const Config *config, void *buffer, uint32_t *size);

// A new config from the object image at `binary`, of which at most `room` bytes
// may be read; null when the image is absent, inconsistent, or any value does
// not add. Nested images convert at any depth without deeper native stack.
Config *BinaryToConfig(const void *binary, uint32_t room);

int32_t BinaryGetCount(const void *binary, uint16_t *isArray);
uint32_t BinaryGetSize(const void *binary, uint16_t *isArray);
uint32_t BinaryGetDataById(const void *binary, uint16_t id, uint8_t *type, void *buffer,
                           uint32_t *size);
uint32_t BinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *id, uint8_t *type,
                              void *buffer, uint32_t *size);
uint32_t BinarySetData(void *binary, uint32_t *size, uint16_t id, uint8_t type, const void *data,
                       uint32_t dataSize);

// SMSDOBinaryWalk. Each image is checked when its visit starts, so a damaged
// nested image ends the walk (271) after its parents' callbacks.
uint32_t BinaryWalk(const void *binary, uint32_t context, SMSDOBinaryWalkBeginFn begin,
                    SMSDOBinaryWalkEntryFn entry, SMSDOBinaryWalkAfterEntryFn afterEntry,
                    SMSDOBinaryWalkEndFn end, uint32_t recurse);

}  // namespace kx::sdo
