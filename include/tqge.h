// tqge: the client-side business layer. One include gives the whole public interface.
#pragma once

#include "tqlibex/GeArrayEx.h"
#include "tqlibex/GuidTexto.h"
#include "tqlibex/OleAutMoeda.h"
#include "tqlibex/Plataforma.h"
#include "tqlibex/Registro.h"
#include "tqlibex/Relogio.h"
#include "tqlibex/TQException.h"
#include "tqlibex/TQString.h"
#include "tqlibex/WinTypes.h"

#include "foundation/GeCurrencyEx.h"
#include "foundation/GeManipulaDatas.h"
#include "foundation/TQDma.h"
