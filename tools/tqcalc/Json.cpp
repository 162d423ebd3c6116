#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"

namespace tq::calc {

using json = nlohmann::ordered_json;

// The JSON face is written as text, in one pass: a month's run writes it for every contract, and
// building the same document as a tree first costs more than both calculations. ParaJson reads
// this text back, so the single run and the run's journal have one shape, written in one place.
// Strings are escaped as nlohmann's compact dump escapes them, so that the journal's line is byte
// for byte ParaJson(r).dump().

namespace {

class CEscritor {
public:
    explicit CEscritor(std::string& s) : m_s(s) {}

    CEscritor& Abre(char c) {
        m_s += c;
        m_bPrimeiro = true;
        return *this;
    }
    CEscritor& Fecha(char c) {
        m_s += c;
        m_bPrimeiro = false;
        return *this;
    }
    // A member's key, or an array's next element.
    CEscritor& Chave(const char* pszChave) {
        Separa();
        Texto(pszChave);
        m_s += ':';
        return *this;
    }
    CEscritor& Elemento() {
        Separa();
        return *this;
    }
    CEscritor& Texto(std::string_view t) {
        m_s += '"';
        AcrescentaEscapado(m_s, t);
        m_s += '"';
        return *this;
    }
    CEscritor& Quantia(LONGLONG bruto, int nDecimais) {
        m_s += '"';
        AcrescentaQuantia(m_s, bruto, nDecimais);
        m_s += '"';
        return *this;
    }
    CEscritor& Numero(unsigned long long n) {
        char t[24];
        char* p = t + sizeof t;
        do {
            *--p = static_cast<char>('0' + n % 10);
            n /= 10;
        } while (n);
        m_s.append(p, static_cast<std::size_t>(t + sizeof t - p));
        return *this;
    }
    CEscritor& Nulo() {
        m_s += "null";
        return *this;
    }

private:
    void Separa() {
        if (!m_bPrimeiro)
            m_s += ',';
        m_bPrimeiro = false;
    }
    std::string& m_s;
    bool m_bPrimeiro = true;
};

void EscreveLinhas(CEscritor& w, const CCalculoApontamentos::CArrayCalculados& linhas) {
    w.Abre('[');
    for (const REG_APONTAMENTO_CALCULADO& l : linhas) {
        w.Elemento().Abre('{');
        w.Chave("servico").Numero(l.servico);
        w.Chave("quantidade").Quantia(l.quantidade.int64, 4);
        w.Chave("precoUnitario").Quantia(l.precoUnitario.int64, 8);
        w.Chave("valor").Quantia(l.valor.int64, 4);
        w.Chave("descTotal").Quantia(l.descTotal.int64, 4);
        w.Chave("descricao").Texto(ParaUtf8(TextoDoCampo(l.descricao, sizeof l.descricao).str()));
        w.Fecha('}');
    }
    w.Fecha(']');
}

void EscreveItens(CEscritor& w, const CArrayItensFaixa& itens) {
    w.Abre('[');
    for (const CItemCalculoFaixaMedicao& i : itens) {
        w.Elemento().Abre('{');
        w.Chave("servico").Numero(i.Servico);
        w.Chave("quantidade").Quantia(i.Quantidade.int64, 4);
        w.Chave("valor").Quantia(i.Valor.int64, 4);
        w.Fecha('}');
    }
    w.Fecha(']');
}

} // namespace

void AcrescentaEscapado(std::string& s, std::string_view utf8) {
    static const char* const kHex = "0123456789abcdef";
    for (const char c : utf8) {
        const unsigned char b = static_cast<unsigned char>(c);
        switch (b) {
            case '"':
                s += "\\\"";
                break;
            case '\\':
                s += "\\\\";
                break;
            case '\b':
                s += "\\b";
                break;
            case '\f':
                s += "\\f";
                break;
            case '\n':
                s += "\\n";
                break;
            case '\r':
                s += "\\r";
                break;
            case '\t':
                s += "\\t";
                break;
            default:
                if (b < 0x20) {
                    s += "\\u00";
                    s += kHex[b >> 4];
                    s += kHex[b & 0xF];
                } else {
                    s += c;
                }
        }
    }
}

std::string Quantia(tagCY cy, int nDecimais) {
    return Quantia(cy.int64, nDecimais);
}

json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas) {
    std::string s;
    CEscritor w(s);
    EscreveLinhas(w, linhas);
    return json::parse(s);
}

json ItensFaixa(const CArrayItensFaixa& itens) {
    std::string s;
    CEscritor w(s);
    EscreveItens(w, itens);
    return json::parse(s);
}

void AcrescentaJson(std::string& s, const CResultado& r) {
    CEscritor w(s);
    w.Abre('{');
    if (r.bApontamentos) {
        w.Chave("apontamentos").Abre('{');
        w.Chave("status").Texto(Status(r.hrApontamentos));
        w.Chave("linhas");
        EscreveLinhas(w, r.linhas);
        w.Chave("valor").Quantia(r.valor.int64, 4);
        w.Chave("desconto").Quantia(r.desconto.int64, 4);
        w.Chave("codigos").Texto(ParaUtf8(r.codigos.str()));
        w.Fecha('}');
    }
    if (r.bFaixas) {
        w.Chave("faixas").Abre('{');
        w.Chave("status").Texto(Status(r.hrFaixas));
        w.Chave("itens");
        EscreveItens(w, r.itens);
        w.Chave("servicos");
        EscreveItens(w, r.servicos);
        w.Fecha('}');
    }
    w.Chave("totalNota");
    if (r.bNota)
        w.Quantia(r.notaTotal / 100, 2);
    else
        w.Nulo();
    w.Chave("avisos").Abre('[');
    for (const CAviso& a : r.avisos) {
        w.Elemento().Abre('{');
        w.Chave("calculo").Texto(a.calculo == CAviso::Apontamentos ? "apontamentos"
                                 : a.calculo == CAviso::Faixas     ? "faixas"
                                                                   : "nota");
        w.Chave("servico").Numero(a.servico);
        w.Chave("texto").Texto(TextoDoAviso(a));
        w.Fecha('}');
    }
    w.Fecha(']');
    w.Fecha('}');
}

json ParaJson(const CResultado& r) {
    std::string s;
    AcrescentaJson(s, r);
    return json::parse(s);
}

} // namespace tq::calc
