// tqge: the client-side business layer. One include gives the whole public interface.
#pragma once

#include "tqlibex/AlocadorTarefas.h"
#include "tqlibex/ConexaoGe.h"
#include "tqlibex/EventoCom.h"
#include "tqlibex/GeArrayEx.h"
#include "tqlibex/GeArrayExGravaLog.h"
#include "tqlibex/GeInicializa.h"
#include "tqlibex/GeLog.h"
#include "tqlibex/GuidTexto.h"
#include "tqlibex/NomesHResult.h"
#include "tqlibex/OleAutMoeda.h"
#include "tqlibex/Plataforma.h"
#include "tqlibex/PrimitivaCom.h"
#include "tqlibex/Registro.h"
#include "tqlibex/Relogio.h"
#include "tqlibex/RuntimeFechado.h"
#include "tqlibex/TQComPtr.h"
#include "tqlibex/TQException.h"
#include "tqlibex/TQString.h"
#include "tqlibex/TraceHResult.h"
#include "tqlibex/WinTypes.h"

#include "servers/RegistrosGE.h"

#include "foundation/GeCurrencyEx.h"
#include "foundation/GeManipulaDatas.h"
#include "foundation/TQDma.h"

#include "contracts/GeRateio.h"
#include "contracts/RegClassificacaoGePs.h"
#include "contracts/RegItemContrato.h"

#include "followup/Apontamento.h"
#include "followup/CalculoApontamentos.h"
#include "followup/ItemApontamento.h"
