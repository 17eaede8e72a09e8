/* kxsupt: sdo family (declarations arrive with the module). */
#ifndef KXSUPT_SDO_H
#define KXSUPT_SDO_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_SDO_H */
