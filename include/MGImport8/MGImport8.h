#pragma once

/// Everything a host needs: the engine, the rows and options it hands over, and the import
/// method catalogue.
#include <MGImport8/engine.h>
#include <MGImport8/importcolumn.h>
#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>
#include <MGImport8/importtype.h>
#include <MGImport8/importtypes.h>
#include <MGImport8/ipaddress.h>
#include <MGImport8/mgimport8_export.h>
#include <MGImport8/sqladmin.h>
