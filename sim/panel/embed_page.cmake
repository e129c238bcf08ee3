# Writes the C++ file OUTPUT, which embeds the files in the list FILES.
# Usage: cmake -DOUTPUT=... "-DFILES=..." -P embed_page.cmake
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")

set(arrays "")
set(rows "")
foreach(file IN LISTS FILES)
    get_filename_component(name ${file} NAME)
    get_filename_component(extension ${file} LAST_EXT)
    string(SUBSTRING ${extension} 1 -1 extension)
    string(MAKE_C_IDENTIFIER ${name} identifier)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND arrays "constexpr char ${identifier}[] = {${bytes}};\n")
    string(APPEND rows "    {\"/${name}\", \"${type_${extension}}\", {${identifier}, sizeof ${identifier}}},\n")
endforeach()
file(WRITE ${OUTPUT}.new "#include \"sim/panel/page_files.h\"

namespace sim {

namespace {

${arrays}
constexpr PageFile files[] = {
${rows}};

} // namespace

std::span<const PageFile> pageFiles()
{
    return files;
}

} // namespace sim
")
file(RENAME ${OUTPUT}.new ${OUTPUT})
