# Writes a source file that holds the files of a folder as pageFiles() (host/web/PageFiles.h):
#   cmake -DFOLDER=page -DOUTPUT=PageFiles.cpp -P EmbedPage.cmake
set(types_html "text/html; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_svg "image/svg+xml")
set(types_txt "text/plain; charset=utf-8")

file(GLOB files RELATIVE "${FOLDER}" "${FOLDER}/*")
list(SORT files)
set(arrays "")
set(entries "")
set(index 0)
foreach(name IN LISTS files)
    string(REGEX REPLACE ".*\\." "" ending "${name}")
    if(NOT DEFINED types_${ending})
        message(FATAL_ERROR "the page has a file of an unknown type: ${name}")
    endif()
    file(READ "${FOLDER}/${name}" bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "const unsigned char file${index}[] = {${bytes}};\n")
    string(APPEND entries "        {\"${name}\", \"${types_${ending}}\",\n"
        "         {reinterpret_cast<const char*>(file${index}), sizeof file${index}}},\n")
    math(EXPR index "${index} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"host/web/PageFiles.h\"

namespace Rvl {

namespace {

${arrays}
} // namespace

const std::vector<SPageFile>& pageFiles()
{
    static const std::vector<SPageFile> files{
${entries}    };
    return files;
}

} // namespace Rvl
")
