/* kxsupt: config family (declarations arrive with the module). */
#ifndef KXSUPT_CONFIG_H
#define KXSUPT_CONFIG_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_CONFIG_H */
