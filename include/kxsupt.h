/*
 * kxsupt: the support library libkxsupt.so.9.
 *
 * Include this one header to reach every exported function. The families live
 * in kxsupt/<family>.h, each with an introduction to its objects, ownership
 * rules and statuses, listed here from the bottom layer up. Every function has
 * plain C linkage.
 */
#ifndef KXSUPT_H
#define KXSUPT_H

#include "kxsupt/base.h"
#include "kxsupt/os.h"
#include "kxsupt/containers.h"
#include "kxsupt/codec.h"
#include "kxsupt/text.h"
#include "kxsupt/format.h"
#include "kxsupt/values.h"
#include "kxsupt/xml.h"
#include "kxsupt/sdo.h"
#include "kxsupt/config.h"
#include "kxsupt/log.h"
#include "kxsupt/ipc.h"
#include "kxsupt/net.h"

#endif /* KXSUPT_H */
