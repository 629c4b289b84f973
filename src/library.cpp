// libMGImport8.so: the layers, linked whole. Nothing lives here but this note; the library's
// contents come from the layer archives.
