# The panorama service of tools/ (streets read from an OpenStreetMap extract, their panoramas, the
# metadata XML writer, the HTTP service): its sources and the libraries they need, for the command,
# the tests and the fuzz targets. libosmium is header-only; it reads XML through expat, bzip2 and
# gzip through their libraries, and PBF through protozero (header-only) and zlib.
if(NOT TARGET PkgConfig::HTTPLIB)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET GLOBAL cpp-httplib)
endif()
find_package(EXPAT REQUIRED)
find_package(BZip2 REQUIRED)

set(VISTARA_PANORAMA_SERVICE_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/osm_streets.cc
  ${CMAKE_CURRENT_LIST_DIR}/street_panoramas.cc
  ${CMAKE_CURRENT_LIST_DIR}/panorama_xml_writer.cc
  ${CMAKE_CURRENT_LIST_DIR}/panorama_service.cc)

function(vistara_use_panorama_service target)
  target_sources(${target} PRIVATE ${VISTARA_PANORAMA_SERVICE_SOURCES})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
  target_link_libraries(${target} PRIVATE PkgConfig::HTTPLIB EXPAT::EXPAT BZip2::BZip2 ZLIB::ZLIB Threads::Threads)
endfunction()
