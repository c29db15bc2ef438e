#ifndef TEVROL_NAMES_TEVROLIDPROVIDER_H
#define TEVROL_NAMES_TEVROLIDPROVIDER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Turns a name into a one-word id: the address of a private copy of the
// text, which lives until process exit. The same id comes back for the same
// pointer, whatever text it points to by then; two pointers to equal texts
// get two ids. Null and "" share one id, whose text is "NULL_name". Any
// thread may call it. Reached through TevrolIdProvider_GetInstance().
class TEVROL_EXPORT TevrolIdProvider {
 public:
  // The id; also readable as the char const* of the stored text.
  virtual Tevrol::Word AddName(char const* name) = 0;
  // The pointer once given to AddName whose stored text equals `name`, 0 if
  // none (and for null or ""). A walk over all names.
  virtual Tevrol::Word GetTevrolId(char const* name) = 0;
  virtual ~TevrolIdProvider();
};

#endif
