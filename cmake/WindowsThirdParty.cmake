# Third-party code for the Windows cross build: zlib from MinGW-w64's package,
# SQLite, cpp-httplib and libpng compiled from Debian's source packages, fetched
# by scripts/fetch-windows-sources.sh into QUILLORN_WIN_SOURCES.
set(QUILLORN_WIN_SOURCES "" CACHE PATH "Folder with sqlite3/, httplib/ and libpng/ sources")
if(NOT EXISTS "${QUILLORN_WIN_SOURCES}/sqlite3/sqlite3.c")
  message(FATAL_ERROR "QUILLORN_WIN_SOURCES must hold sqlite3/sqlite3.c (run make windows)")
endif()

find_package(ZLIB REQUIRED)

add_library(quillorn_sqlite3 STATIC "${QUILLORN_WIN_SOURCES}/sqlite3/sqlite3.c")
target_include_directories(quillorn_sqlite3 SYSTEM PUBLIC "${QUILLORN_WIN_SOURCES}/sqlite3")
target_compile_definitions(quillorn_sqlite3 PRIVATE SQLITE_THREADSAFE=1 SQLITE_OMIT_LOAD_EXTENSION)
add_library(SQLite::SQLite3 ALIAS quillorn_sqlite3)

# libpng as C with the configuration it ships prebuilt; no processor-specific
# code, which that configuration leaves off.
if(NOT EXISTS "${QUILLORN_WIN_SOURCES}/libpng/pnglibconf.h")
  message(FATAL_ERROR "QUILLORN_WIN_SOURCES must hold libpng/ (run make windows)")
endif()
set(png_sources png pngerror pngget pngmem pngpread pngread pngrio pngrtran pngrutil pngset pngtrans pngwio
                pngwrite pngwtran pngwutil)
list(TRANSFORM png_sources PREPEND "${QUILLORN_WIN_SOURCES}/libpng/")
list(TRANSFORM png_sources APPEND ".c")
add_library(quillorn_png STATIC ${png_sources})
target_include_directories(quillorn_png SYSTEM PUBLIC "${QUILLORN_WIN_SOURCES}/libpng")
target_link_libraries(quillorn_png PUBLIC ZLIB::ZLIB)
add_library(PNG::PNG ALIAS quillorn_png)

add_library(quillorn_httplib INTERFACE)
target_include_directories(quillorn_httplib SYSTEM INTERFACE "${QUILLORN_WIN_SOURCES}/httplib")
target_compile_definitions(quillorn_httplib INTERFACE _WIN32_WINNT=0x0A00)
target_link_libraries(quillorn_httplib INTERFACE ws2_32 crypt32)

# nlohmann-json is header-only: a copy of just its folder, so that the MinGW
# include path never reaches the host's /usr/include.
if(NOT TARGET nlohmann_json::nlohmann_json)
  file(COPY /usr/include/nlohmann DESTINATION "${CMAKE_BINARY_DIR}/third_party/nlohmann_json/include")
  add_library(quillorn_nlohmann_json INTERFACE)
  target_include_directories(quillorn_nlohmann_json SYSTEM INTERFACE
                             "${CMAKE_BINARY_DIR}/third_party/nlohmann_json/include")
  add_library(nlohmann_json::nlohmann_json ALIAS quillorn_nlohmann_json)
endif()
