// The billing run's faces: a contract's line in the journal (notas.jsonl), its row in the
// summary (resumo.csv) and the conference against what was invoiced (divergencias.csv). A row is
// read from the journal's line alone, so that a run started again after a kill, or shares joined
// from several machines, write the summary byte for byte as one uninterrupted run does.
#pragma once

#include "tools/tqcalc/Nucleo.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tq::calc {

// The journal's line: {"contrato":"40017", ...} followed by the members of ParaJson(r), as
// tqcalc --json gives them, compact, with its line end.
std::string LinhaDoDiario(const std::string& codigo, const CResultado& r);
// The same as a JSON object.
nlohmann::ordered_json EntradaDoDiario(const std::string& codigo, const CResultado& r);

// What the summary says of one contract, read from its journal entry.
struct CLinhaResumo {
    enum ESituacao : std::uint8_t { Faturado, Falhou, Estouro } situacao = Faturado;
    std::string codigo;
    std::string status; // S_OK, RPC_S_SERVER_UNAVAILABLE, DISP_E_OVERFLOW, ...
    std::string csv;    // the row, without its line end
    bool bTotal = false;
    LONGLONG total = 0; // the invoice total, two decimals raw, when bTotal
};

// The row of an entry; false (and `erro` says why) for anything that is not one: a journal line a
// crash cut short, or one from another program.
bool LinhaDoResumo(const nlohmann::ordered_json& entrada, CLinhaResumo& linha, std::string& erro);
// The row of a contract just billed: the same as its entry's, read from the result it was
// written from (a month's run does not read back every line it writes).
CLinhaResumo LinhaDoResumo(const std::string& codigo, const CResultado& r);

// A status by name only: its symbolic name, else its Win32 code's name, else its eight hex digits.
std::string NomeCurto(HRESULT hr);

extern const char* const kCabecalhoResumo;

// The rows of a month, kept compactly (tens of bytes a contract: a million contracts fit), sorted
// by code as text when written.
class CResumo {
public:
    void Acrescenta(const CLinhaResumo& linha);
    std::size_t Tamanho() const { return m_linhas.size(); }
    // Header and rows, sorted by code as text, "\n" line ends.
    std::string Csv();
    // Every contract that failed or whose amounts the money type cannot hold: code and status.
    std::vector<std::pair<std::string, std::string>> Problemas();
    // A code two rows share, or empty.
    std::string PrimeiroRepetido();
    std::size_t Falhas() const { return m_nFalhas; }
    std::size_t Estouros() const { return m_nEstouros; }

    // divergencias.csv: every contract whose invoiced total differs from the calculated one (or
    // that has none), and those on one side only, sorted by code as text; `nDivergencias` gets
    // their number.
    std::string Divergencias(const std::map<std::string, LONGLONG>& faturado,
                             std::size_t& nDivergencias);

private:
    struct CRef {
        std::size_t inicio; // the row in m_texto
        std::uint32_t tamanho;
        std::uint16_t tamanhoDoCodigo; // the code is the row's start
        std::uint16_t tamanhoDoStatus; // after the code and a ';'
        CLinhaResumo::ESituacao situacao;
        bool bTotal;
        LONGLONG total;
    };
    std::string_view Codigo(const CRef& r) const {
        return std::string_view(m_texto).substr(r.inicio, r.tamanhoDoCodigo);
    }
    std::string_view Status(const CRef& r) const {
        return std::string_view(m_texto).substr(r.inicio + r.tamanhoDoCodigo + 1,
                                                r.tamanhoDoStatus);
    }
    void Ordena();

    std::string m_texto;
    std::vector<CRef> m_linhas;
    bool m_bOrdenado = true;
    std::size_t m_nFalhas = 0, m_nEstouros = 0;
};

// An amount with two decimals raw as the spreadsheet reads it: "-1234,50" (decimal comma, no
// thousands separator).
std::string ComVirgula(LONGLONG bruto2);

} // namespace tq::calc
