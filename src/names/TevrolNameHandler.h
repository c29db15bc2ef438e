#ifndef TEVROL_NAMES_TEVROLNAMEHANDLER_H
#define TEVROL_NAMES_TEVROLNAMEHANDLER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Gives out ids for names that can later be marked as deleted. Every AddName
// makes a new id, the address of a stored copy "__<name>" ("__NULL_Name" for
// null or ""), which lives until process exit. Marking turns the first byte
// into 'd', so a name "Radio" is found by GetTevrolId("__Radio"), and after
// marking by "d_Radio". Any thread may call it. Reached through
// TevrolNameHandler_GetInstance().
class TEVROL_EXPORT TevrolNameHandler {
 public:
  virtual Tevrol::Word AddName(char const* name) = 0;
  // The id whose stored text (prefix included) equals `name`, 0 if none.
  virtual Tevrol::Word GetTevrolId(char const* name) = 0;
  // An id that was never given out is ignored. Marking is for good.
  virtual void MarkItemAsDeleted(Tevrol::Word id) = 0;
  // Reads the mark without a lock or lookup: pass only ids from AddName.
  virtual bool CheckDeletion(Tevrol::Word id) = 0;
  virtual ~TevrolNameHandler();
};

#endif
