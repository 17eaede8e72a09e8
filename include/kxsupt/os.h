/* kxsupt: os family (declarations arrive with the module). */
#ifndef KXSUPT_OS_H
#define KXSUPT_OS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_OS_H */
