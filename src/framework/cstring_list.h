// CStringList: a list of texts.
#pragma once

#include "framework/clist.h"
#include "framework/cstring.h"

class CStringList : public CList<CString, const CString&> {
public:
    using CList::CList;
};
