#include "file/WildcardExpression.h"
