#include "file/File.h"
