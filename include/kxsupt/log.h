/* kxsupt: log family (declarations arrive with the module). */
#ifndef KXSUPT_LOG_H
#define KXSUPT_LOG_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_LOG_H */
