#include "file/FileSystem.h"
