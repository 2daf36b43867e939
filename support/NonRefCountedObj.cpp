#include "support/NonRefCountedObj.h"

#include "support/dvMemory.h"

NonRefCountedObj::~NonRefCountedObj() { dvStoreForGood(m_validityWord, 0U); }
