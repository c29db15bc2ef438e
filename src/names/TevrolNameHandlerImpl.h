#ifndef TEVROL_NAMES_TEVROLNAMEHANDLERIMPL_H
#define TEVROL_NAMES_TEVROLNAMEHANDLERIMPL_H

#include "names/NameRegistry.h"
#include "names/TevrolNameHandler.h"

// Keys and values are both the stored copies.
class TevrolNameHandlerImpl : public TevrolNameHandler {
 public:
  Tevrol::Word AddName(char const* name) override;
  Tevrol::Word GetTevrolId(char const* name) override;
  void MarkItemAsDeleted(Tevrol::Word id) override;
  bool CheckDeletion(Tevrol::Word id) override;

 private:
  NameRegistry m_registry;
};

#endif
