/* kxsupt: format family (declarations arrive with the module). */
#ifndef KXSUPT_FORMAT_H
#define KXSUPT_FORMAT_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_FORMAT_H */
