#include "support/DorvaneCritSec.h"

DorvaneCritSec::DorvaneCritSec() noexcept = default;

DorvaneCritSec::~DorvaneCritSec() = default;

void DorvaneCritSec::enterCriticalSection() noexcept { m_mutex.lock(); }

void DorvaneCritSec::leaveCriticalSection() noexcept { m_mutex.unlock(); }
