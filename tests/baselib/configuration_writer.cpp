// Sets keys of a section of the user's configuration: configuration_writer SECTION COUNT. 0 if all were
// written.
#include <cstdlib>

#include "interfaces/baselib.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    for (int number = 1; number <= std::atoi(argv[2]); number++) {
        CString key, value;
        key.Format(_T("Key%d"), number);
        value.Format(_T("%d"), number);
        if (!DictUtil::SetConfigString(CString::FromUtf8(argv[1]), key, value)) {
            return 1;
        }
    }
    return 0;
}
