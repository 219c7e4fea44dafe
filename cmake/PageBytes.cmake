# Makes a source that holds the files of a folder:
#
#     cmake -D FOLDER=... -D OUT=... -P cmake/PageBytes.cmake
file(GLOB files ${FOLDER}/*)
set(arrays "")
set(rows "")
set(index 0)
foreach(file IN LISTS files)
  get_filename_component(name ${file} NAME)
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  # Lines of a bounded length.
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  file(SIZE ${file} size)
  string(APPEND arrays "const unsigned char FILE_${index}[] = {\n${bytes}};\n")
  string(APPEND rows "    {\"${name}\", FILE_${index}, ${size}},\n")
  math(EXPR index "${index} + 1")
endforeach()
if(index EQUAL 0)
  message(FATAL_ERROR "${FOLDER} has no files")
endif()
file(WRITE ${OUT}
"#include \"lighting_host/web/PageBytes.h\"

#include <cstddef>

namespace lighting_host
{
namespace
{
${arrays}
struct File
{
    const char* name;
    const unsigned char* bytes;
    std::size_t size;
};
constexpr File FILES[] = {
${rows}};
} // namespace

bool FindPageBytes(const std::string& name, std::string& bytes)
{
    for (const File& file : FILES)
    {
        if (name != file.name)
            continue;
        bytes.assign(reinterpret_cast<const char*>(file.bytes), file.size);
        return true;
    }
    return false;
}
} // namespace lighting_host
")
