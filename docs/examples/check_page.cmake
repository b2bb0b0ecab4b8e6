# Fails when docs/hosts.md does not show the example as it is compiled.
file(READ ${CMAKE_CURRENT_LIST_DIR}/../hosts.md page)
file(READ ${CMAKE_CURRENT_LIST_DIR}/host_example.cpp program)
string(STRIP "${program}" program)
string(FIND "${page}" "${program}" place)
if(place LESS 0)
  message(FATAL_ERROR "docs/hosts.md shows another program than docs/examples/host_example.cpp")
endif()
