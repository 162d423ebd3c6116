// Tables of worked values kept as data: tab-separated files under tests/data, a header row naming
// the columns, '#' lines for remarks. Cells are text; the escapes \t \n \r \\ and \xHH give the
// 8-bit (Windows-1252) texts the system shows.
#pragma once

#include "tqlibex/base/WinTypes.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tq::teste {

class Linha {
public:
    // The cell of a column, escapes resolved; a column the table lacks throws.
    std::string Texto(const std::string& coluna) const;
    // Signed decimal, or 0x hexadecimal taken as a 64-bit two's complement pattern.
    long long I64(const std::string& coluna) const;
    int Int(const std::string& coluna) const { return static_cast<int>(I64(coluna)); }
    HRESULT Hr(const std::string& coluna) const { return static_cast<HRESULT>(I64(coluna)); }
    // "1" is true; "0" or empty is false.
    bool Bool(const std::string& coluna) const { return I64(coluna) != 0; }
    bool Tem(const std::string& coluna) const { return m_pColunas->count(coluna) != 0; }
    // "file:line", for failure messages.
    const std::string& Origem() const { return m_origem; }

private:
    friend std::vector<Linha> LeTabela(const std::string& arquivo);
    std::shared_ptr<const std::map<std::string, std::size_t>> m_pColunas;
    std::vector<std::string> m_celulas;
    std::string m_origem;
};

// Every data row of tests/data/<arquivo>; an unreadable file fails the calling test.
std::vector<Linha> LeTabela(const std::string& arquivo);
std::string CaminhoDosDados(const std::string& arquivo);
// The pieces of a text between separators, empty ones left out ("a||b" is a, b).
std::vector<std::string> Separa(const std::string& texto, char separador = '\n');

} // namespace tq::teste
