#include "support/DorvaneObject.h"

DorvaneObject::~DorvaneObject() = default;

unsigned int DorvaneObject::heapUsage() { return 0; }

void DorvaneObject::deleteObject(DorvaneObject* object) { delete object; }
