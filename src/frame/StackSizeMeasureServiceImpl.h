#ifndef TEVROL_FRAME_STACKSIZEMEASURESERVICEIMPL_H
#define TEVROL_FRAME_STACKSIZEMEASURESERVICEIMPL_H

#include "frame/TevrolExport.h"

// Kept for its accessor only: every thread has the same fixed stack, and
// nothing is measured. There is nothing to call on it.
class TEVROL_EXPORT StackSizeMeasureServiceImpl {};

#endif
