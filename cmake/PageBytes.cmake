# Makes a source that holds the files of a folder, and the chapter on house files of a document as
# house_file.txt:
#
#     cmake -D FOLDER=... -D DOCUMENT=... -D OUT=... -P cmake/PageBytes.cmake
file(GLOB files ${FOLDER}/*)
set(title "## The house file\n")
file(READ ${DOCUMENT} text)
string(FIND "${text}" "\n${title}" begin)
if(begin EQUAL -1)
  message(FATAL_ERROR "${DOCUMENT} has no chapter on house files")
endif()
math(EXPR begin "${begin} + 1")
string(SUBSTRING "${text}" ${begin} -1 text)
string(FIND "${text}" "\n## " end)
string(SUBSTRING "${text}" 0 ${end} text)
get_filename_component(folder ${OUT} DIRECTORY)
file(WRITE ${folder}/house_file.txt "${text}\n")
list(APPEND files ${folder}/house_file.txt)
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
