/* kxsupt: text family (declarations arrive with the module). */
#ifndef KXSUPT_TEXT_H
#define KXSUPT_TEXT_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_TEXT_H */
