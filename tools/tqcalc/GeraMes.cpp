#include "tools/tqcalc/GeraMes.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

namespace tq::calc {

using namespace tq::amostra;

namespace {

// splitmix64: small, fast and the same everywhere.
class CSorteio {
public:
    explicit CSorteio(std::uint64_t semente) : m_s(semente) {}
    std::uint64_t Proximo() {
        std::uint64_t z = (m_s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // From a to b, both included.
    long long Entre(long long a, long long b) {
        return a + static_cast<long long>(Proximo() % static_cast<std::uint64_t>(b - a + 1));
    }
    bool Chance(int nPorCem) { return Entre(1, 100) <= nPorCem; }

private:
    std::uint64_t m_s;
};

constexpr ULONG kFaixas = 24;
constexpr ULONG kFaixaInexistente = 999;
constexpr LONGLONG kCentavosEmPreco8 = 1000000; // a cent in eight-decimal raw
constexpr LONGLONG kCentavosEmQuantia4 = 100;   // a cent in four-decimal raw

std::string ComDigito(unsigned long long n) {
    const std::string t = std::to_string(n);
    int soma = 0;
    for (const char c : t)
        soma += c - '0';
    return t + static_cast<char>('0' + soma % 10);
}

} // namespace

CDadosAmostra GeraMes(const COpcoesMes& o) {
    CSorteio g(o.semente);
    CDadosAmostra d; // texts in Windows-1252, as the servers keep them
    const bool bSem = o.bSemArredondamento;

    // The system's range definitions, each billing one service of its own.
    for (ULONG codigo = 1; codigo <= kFaixas; ++codigo) {
        Faixa f{codigo, 200 + codigo, "Faixa de medi\xE7\xE3o " + std::to_string(codigo), {}};
        const LONGLONG p1 = g.Entre(5000, 15000) * kCentavosEmQuantia4;
        if (bSem) {
            f.bandas.push_back({1, 0, p1});
        } else {
            const LONG l1 = static_cast<LONG>(g.Entre(50, 200));
            const LONG l2 = l1 + static_cast<LONG>(g.Entre(100, 300));
            f.bandas.push_back({1, l1, p1});
            f.bandas.push_back(
                {l1 + 1, l2, p1 * 85 / 100 / kCentavosEmQuantia4 * kCentavosEmQuantia4});
            // Most ladders end open; the others leave what passes their last band unbilled.
            if (g.Chance(80))
                f.bandas.push_back(
                    {l2 + 1, 0, p1 * 70 / 100 / kCentavosEmQuantia4 * kCentavosEmQuantia4});
        }
        d.faixas.push_back(std::move(f));
    }

    ULONG proximoApontamento = 1;
    CTQMa anterior = o.mes;
    anterior.SomaMeses(-1);
    unsigned long long numero = 10;
    for (std::size_t i = 0; i < o.nContratos; ++i) {
        numero += static_cast<unsigned long long>(g.Entre(1, 37));
        Contrato c;
        c.codigo = ComDigito(numero);
        c.ponteiro = static_cast<ULONG>(numero);

        std::set<ULONG> servicos;
        const int nItens = static_cast<int>(g.Entre(2, 5));
        while (static_cast<int>(servicos.size()) < nItens)
            servicos.insert(static_cast<ULONG>(g.Entre(101, 140)));
        for (const ULONG servico : servicos) {
            ItemContrato item;
            item.servico = servico;
            item.precoUnitario = g.Entre(500, 30000) * kCentavosEmPreco8;
            // A price in eighths of a cent now and then, as a monthly fee split by hours is.
            if (!bSem && g.Chance(20))
                item.precoUnitario += g.Entre(1, 999999);
            if (g.Chance(33)) {
                item.franquia = g.Entre(10, 40) * 10000;
                item.precoExcedente =
                    item.precoUnitario / kCentavosEmPreco8 * 110 / 100 * kCentavosEmPreco8;
            }
            item.texto = "Servi\xE7o " + std::to_string(servico);
            if (g.Chance(50))
                item.classificacoes = {{1, 1000000, "Receita de servi\xE7os"}};
            else
                item.classificacoes = {{1, 700000, "Receita de servi\xE7os"},
                                       {2, 300000, "Transporte"}};
            c.itens.push_back(std::move(item));
        }
        std::set<ULONG> faixas;
        const int nFaixas = static_cast<int>(g.Entre(0, 2));
        while (static_cast<int>(faixas.size()) < nFaixas)
            faixas.insert(static_cast<ULONG>(g.Entre(1, kFaixas)));
        for (const ULONG f : faixas)
            c.faixas.push_back({f, {{1, 1000000, "Receita de servi\xE7os"}}});
        if (o.cadaFalho && (i + 1) % o.cadaFalho == 0)
            c.faixas.push_back({kFaixaInexistente, {{1, 1000000, "Receita de servi\xE7os"}}});

        const auto registro = [&](CTQMa ma, int nItensMin, int nItensMax) {
            Apontamento a;
            a.ma = ma.GetCompactado();
            a.ponteiro = proximoApontamento++;
            a.pontContr = c.ponteiro;
            a.codigo = "AP" + std::to_string(a.ponteiro);
            a.listarNF = g.Chance(90) ? 1 : 0;
            a.motorista = static_cast<ULONG>(g.Entre(1, 300));
            a.placa = static_cast<ULONG>(g.Entre(1000, 9999));
            a.municipio = 3550308;
            a.residuos = g.Chance(50) ? "Classe II-A" : "Entulho";
            const int n = static_cast<int>(g.Entre(nItensMin, nItensMax));
            for (int k = 0; k < n; ++k) {
                ItemApontamento item{};
                const int sorte = static_cast<int>(g.Entre(1, 100));
                const bool bMedido = sorte > 80 && !faixas.empty();
                if (sorte > 95)
                    item.servico = static_cast<ULONG>(g.Entre(150, 159)); // no item prices it
                else if (bMedido)
                    item.servico = 200 + *std::next(faixas.begin(),
                                                    static_cast<long>(g.Entre(0, nFaixas - 1)));
                else
                    item.servico =
                        *std::next(servicos.begin(), static_cast<long>(g.Entre(0, nItens - 1)));
                const long long inteiro = bMedido ? g.Entre(1, 150) : g.Entre(1, 40);
                item.quantidade.int64 =
                    bSem ? inteiro * 10000 : inteiro * 10000 - g.Entre(0, 99) * 100;
                if (g.Chance(10))
                    item.descTotal.int64 =
                        g.Entre(1, 30) * 10000 + (bSem ? 0 : g.Entre(0, 99) * 100);
                item.executor = a.motorista;
                item.data = CTQDma(static_cast<int>(g.Entre(1, 28)), ma.GetMes(), ma.GetAno())
                                .GetCompactado();
                if (!bMedido) {
                    item.horaInicial = static_cast<USHORT>(g.Entre(6, 11) * 100);
                    item.horaFinal = static_cast<USHORT>(item.horaInicial + g.Entre(1, 8) * 100);
                }
                a.itens.push_back(item);
            }
            d.apontamentos.push_back(std::move(a));
        };
        const int nRegistros = static_cast<int>(g.Entre(o.registrosMin, o.registrosMax));
        for (int r = 0; r < nRegistros; ++r)
            registro(o.mes, o.itensMin, o.itensMax);
        if (g.Chance(10))
            registro(anterior, 1, 2);
        d.contratos.push_back(std::move(c));
    }
    return d;
}

CDadosAmostra SoDoContrato(const CDadosAmostra& mes, std::size_t i) {
    CDadosAmostra d;
    const Contrato& c = mes.contratos.at(i);
    d.contratos.push_back(c);
    for (const FaixaContrato& fc : c.faixas)
        for (const Faixa& f : mes.faixas)
            if (f.codigo == fc.codigo)
                d.faixas.push_back(f);
    for (const Apontamento& a : mes.apontamentos)
        if (a.pontContr == c.ponteiro)
            d.apontamentos.push_back(a);
    d.hostilidades = mes.hostilidades;
    return d;
}

} // namespace tq::calc
