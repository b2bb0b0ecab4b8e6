// CWnd: a window of a host, which this system only passes on.
#pragma once

#include "framework/types.h"

class VAULTLIB_API CWnd {
public:
    CWnd() = default;
    CWnd(const CWnd&) = delete;
    CWnd& operator=(const CWnd&) = delete;
    virtual ~CWnd();
};
