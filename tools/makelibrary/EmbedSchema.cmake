# cmake -DFOLDER=tools/makelibrary/schema -DOUTPUT=file.cpp -P EmbedSchema.cmake: the schema as C++ strings.
set(text "#include \"makelibrary/LibrarySchema.h\"\n\nnamespace moxtel::makelibrary {\n")
foreach(name Library ImageProxies Properties Faces LibraryFacts PropertiesFacts Photos4 Photos5 Photos8 Photos11)
  file(READ ${FOLDER}/${name}.sql sql)
  string(APPEND text "\nconst std::string_view k${name}Schema = R\"sql(${sql})sql\";\n")
endforeach()
file(WRITE ${OUTPUT} "${text}\n}  // namespace moxtel::makelibrary\n")
