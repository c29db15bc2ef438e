#include "file/DirEntry.h"
