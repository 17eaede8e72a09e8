/* kxsupt: values family (declarations arrive with the module). */
#ifndef KXSUPT_VALUES_H
#define KXSUPT_VALUES_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_VALUES_H */
