#ifndef TEVROL_FRAME_ACCESSORS_H
#define TEVROL_FRAME_ACCESSORS_H

#include "frame/TevrolExport.h"

// The exported accessors of the library's services, under plain C names.
// Each returns the one object of its service, built at the first call (a
// concurrent first caller waits until it is built) and destroyed at process
// exit in the reverse order of construction. After the first call an
// accessor takes no lock and allocates nothing. Do not use a service from an
// exit handler that runs after its destructor.

class ConfigSystemManager;
class ExtraHeap;
class MainThreadInvoker;
class ProcessDataFactory;
class StackSizeMeasureServiceImpl;
class TevrolCfgFileReader;
class TevrolIdProvider;
class TevrolNameHandler;
class TimerCtrl;

extern "C" {
TEVROL_EXPORT ConfigSystemManager* ConfigSystemManager_GetInstance();
TEVROL_EXPORT ExtraHeap* ExtraHeap_GetInstance();
TEVROL_EXPORT MainThreadInvoker* MainThreadInvoker_GetInstance();
TEVROL_EXPORT ProcessDataFactory* ProcessDataFactory_GetInstance();
TEVROL_EXPORT StackSizeMeasureServiceImpl* StackSizeMeasureService_GetInstance();
TEVROL_EXPORT TevrolCfgFileReader* TevrolCfgFileReader_GetInstance();
TEVROL_EXPORT TevrolIdProvider* TevrolIdProvider_GetInstance();
TEVROL_EXPORT TevrolNameHandler* TevrolNameHandler_GetInstance();
TEVROL_EXPORT TimerCtrl* TimerCtrl_GetInstance();
}

#endif
