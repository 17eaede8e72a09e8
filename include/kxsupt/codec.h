/* kxsupt: codec family (declarations arrive with the module). */
#ifndef KXSUPT_CODEC_H
#define KXSUPT_CODEC_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_CODEC_H */
