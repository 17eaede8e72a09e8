/*
 * Operating-system services.
 *
 * Time-outs throughout the library are unsigned milliseconds: SM_WAIT_FOREVER
 * waits for ever and 0 tries once. The mutexes and semaphores, unnamed and
 * named, are declared with the other inter-process objects in kxsupt/ipc.h.
 */
#ifndef KXSUPT_OS_H
#define KXSUPT_OS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Time-out value that waits for ever. */
#define SM_WAIT_FOREVER 0xFFFFFFFFu

KXSUPT_END_DECLS

#endif /* KXSUPT_OS_H */
