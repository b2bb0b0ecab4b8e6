// The tree behind XMLDocument and XMLNode.
#pragma once

#include <pugixml.hpp>

#include "interfaces/baselib.h"

// Nodes keep the whole document alive.
struct XMLNode::Impl {
    std::shared_ptr<pugi::xml_document> document;
    pugi::xml_node node;
};

struct XMLDocument::Impl {
    std::shared_ptr<pugi::xml_document> document;
    CString error;
};
