#include "file/DirEntryArray.h"
