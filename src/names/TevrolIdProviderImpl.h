#ifndef TEVROL_NAMES_TEVROLIDPROVIDERIMPL_H
#define TEVROL_NAMES_TEVROLIDPROVIDERIMPL_H

#include "names/NameRegistry.h"
#include "names/TevrolIdProvider.h"

// Keys are the callers' pointers, values the private copies.
class TevrolIdProviderImpl : public TevrolIdProvider {
 public:
  Tevrol::Word AddName(char const* name) override;
  Tevrol::Word GetTevrolId(char const* name) override;

 private:
  NameRegistry m_registry;
};

#endif
