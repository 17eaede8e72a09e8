/* kxsupt: net family (declarations arrive with the module). */
#ifndef KXSUPT_NET_H
#define KXSUPT_NET_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_NET_H */
