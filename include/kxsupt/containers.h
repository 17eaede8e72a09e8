/* kxsupt: containers family (declarations arrive with the module). */
#ifndef KXSUPT_CONTAINERS_H
#define KXSUPT_CONTAINERS_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_CONTAINERS_H */
