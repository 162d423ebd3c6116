// A time record and its items as a server sends them, byte for byte: any flags, any count with
// or without its array, texts that fill their fields with no terminator. The record must read
// no further than its fields and array, and write back the same values.
#include "Fuzz.h"

#include "followup/Apontamento.h"

static std::string Campo(const char* p, std::size_t n) {
    return std::string(p, strnlen(p, n));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    _REG_APONTAMENTO_PS reg{};
    std::memcpy(&reg, dados, std::min(tamanho, sizeof reg));
    // What follows the record is its items; reservado3's low bit sends the count with no array.
    const std::size_t resto = tamanho > sizeof reg ? tamanho - sizeof reg : 0;
    std::vector<_REG_ITEM_APONTAMENTO_PS> itens(resto / sizeof(_REG_ITEM_APONTAMENTO_PS));
    if (!itens.empty())
        std::memcpy(itens.data(), dados + sizeof reg, itens.size() * sizeof itens[0]);
    reg.itens = reg.reservado3 & 1 ? nullptr : itens.data();
    if (reg.itens)
        reg.qtdItens %= static_cast<ULONG>(itens.size() + 1);
    const ULONG n = reg.itens ? reg.qtdItens : 0;

    const CApontamento apontamento(reg);
    TQ_CONFERE(apontamento.GetQtdItens() == n && apontamento.GetListarNF() == (reg.listarNF == 1) &&
                   apontamento.GetApontamento().str() == Campo(reg.apontamento, 56) &&
                   apontamento.GetResiduos().str() == Campo(reg.residuos, 52),
               "record read: %u items of %u", static_cast<unsigned>(n),
               static_cast<unsigned>(reg.qtdItens));

    // Written back: the same values, texts cut to leave room for their terminator.
    _REG_APONTAMENTO_PS volta;
    CGeArrayEx<_REG_ITEM_APONTAMENTO_PS, const _REG_ITEM_APONTAMENTO_PS&> itensVolta;
    apontamento.GetSafeReg(volta, itensVolta);
    TQ_CONFERE(volta.ma == reg.ma && volta.ponteiro == reg.ponteiro &&
                   volta.pontContr == reg.pontContr && volta.motorista == reg.motorista &&
                   volta.placa == reg.placa && volta.municipio == reg.municipio &&
                   volta.listarNF == (reg.listarNF == 1) && volta.qtdItens == n && !volta.itens &&
                   Campo(volta.apontamento, 56) == Campo(reg.apontamento, 55) &&
                   Campo(volta.residuos, 52) == Campo(reg.residuos, 51) &&
                   itensVolta.GetSize() == n,
               "GetSafeReg");
    for (ULONG i = 0; i < n; ++i) {
        _REG_ITEM_APONTAMENTO_PS item = reg.itens[i];
        item.reservado1 = item.reservado2 = 0, item.reservado3 = 0;
        TQ_CONFERE(std::memcmp(&itensVolta[i], &item, sizeof item) == 0, "item %u", i);

        // Hours and minutes, the minutes truncated from the hundredths of an hour.
        const CItemApontamento& lido = apontamento.GetItem(static_cast<int>(i));
        const LONGLONG q = item.quantidade.int64;
        const CTQString horas = lido.GetQuantidadeAsString({true, 0});
        char esperadas[32];
        std::snprintf(esperadas, sizeof esperadas, "%02lld:%02lld", q / 10000,
                      q % 10000 / 100 * 60 / 100);
        TQ_CONFERE(q < 0 || q >= 32768LL * 10000 || horas == esperadas, "hours of %lld: %s", q,
                   horas.GetString());
    }
    return 0;
}
