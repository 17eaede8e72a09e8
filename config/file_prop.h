// File property records: a path and the modification time it had when last
// looked at, so that callers can notice that a configuration file changed.
#pragma once

#include "kxsupt/config.h"

namespace kx::config {

// SMFilePropAlloc: a record with a copy of the path and the file's
// modification time, from the library's heap; null when the path is null, the
// file cannot be examined or memory runs out.
SMFileProp *FilePropAlloc(const char *path);
// SMFilePropIsModified: 1 when the modification time differs from the
// record's (which then takes the new time), else 0; 0 also when the file
// cannot be examined or the record is null.
int32_t FilePropIsModified(SMFileProp *record);
// SMFilePropFree: releases the record and its path; null is ignored.
void FilePropFree(SMFileProp *record);

}  // namespace kx::config
