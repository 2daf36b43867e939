#include "support/DorvaneObject.h"

unsigned int DorvaneObject::heapUsage() { return 0; }

void DorvaneObject::deleteObject(DorvaneObject* object) { delete object; }
