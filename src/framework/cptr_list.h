// CPtrList: a list of pointers. The list never owns what they point to.
#pragma once

#include "framework/clist.h"

class CPtrList : public CList<void*, void*> {
public:
    using CList::CList;
};
