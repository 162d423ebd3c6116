// What tqcalc does, apart from its command line: the core (both calculations of one contract and
// one month, checked and totalled), its faces (text, JSON, the customer's statement), and this
// machine's servers with the recording of a month. Tests and tools include this one header.
#pragma once

#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"
#include "tools/tqcalc/Nucleo.h"
#include "tools/tqcalc/Servidores.h"
