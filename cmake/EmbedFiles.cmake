# Makes a source whose function `const std::vector<EmbeddedFile>& FUNCTION()`, in namespace
# lighting_host, gives the files of a folder, those of folders in it included; HEADER declares it.
#
#     cmake -D FOLDER=... -D OUT=... -D HEADER=... -D FUNCTION=... -P cmake/EmbedFiles.cmake
file(GLOB_RECURSE files RELATIVE ${FOLDER} ${FOLDER}/*)
list(SORT files)
if(NOT files)
  message(FATAL_ERROR "${FOLDER} has no files")
endif()
set(arrays "")
set(rows "")
set(index 0)
foreach(file IN LISTS files)
  file(READ ${FOLDER}/${file} hex HEX)
  file(SIZE ${FOLDER}/${file} size)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  # Lines of a bounded length.
  string(REGEX REPLACE "(............................................................)" "\\1\n" bytes
    "${bytes}")
  string(APPEND arrays "const unsigned char FILE_${index}[] = {\n${bytes}0};\n")
  string(APPEND rows
    "        {\"${file}\", std::string(reinterpret_cast<const char*>(FILE_${index}), ${size})},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUT} "#include \"${HEADER}\"

namespace lighting_host
{
namespace
{
${arrays}} // namespace

const std::vector<EmbeddedFile>& ${FUNCTION}()
{
    static const std::vector<EmbeddedFile> files = {
${rows}    };
    return files;
}
} // namespace lighting_host
")
