# cmake -DOUTPUT=... -DCONFIGURATION=... -DTEXTS=... -P embed_files.cmake
# Writes a source file that holds the two shipped files.
function(embed variable file out)
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," hex "${hex}")
  set(${out} "const unsigned char ${variable}[] = {\n${hex}};\n" PARENT_SCOPE)
endfunction()

embed(kConfigurationBytes ${CONFIGURATION} configuration)
embed(kTextBytes ${TEXTS} texts)
file(WRITE ${OUTPUT} "#include \"baselib/shipped_files.h\"

namespace rampart {
namespace {

${configuration}
${texts}
template <size_t size>
std::string_view ViewOf(const unsigned char (&bytes)[size]) {
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::string_view ShippedConfiguration() {
    return ViewOf(kConfigurationBytes);
}

std::string_view ShippedTexts() {
    return ViewOf(kTextBytes);
}

}  // namespace rampart
")
