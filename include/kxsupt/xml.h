/* kxsupt: xml family (declarations arrive with the module). */
#ifndef KXSUPT_XML_H
#define KXSUPT_XML_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

KXSUPT_END_DECLS

#endif /* KXSUPT_XML_H */
