#include "file/FindIterator.h"
