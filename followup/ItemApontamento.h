// CItemApontamento: one item of a time record, a service done on one date by one staff member,
// as the client holds it; the server's _REG_ITEM_APONTAMENTO_PS converts both ways field for field.
#pragma once

#include "foundation/TQDma.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

// What the quantity's text needs of a service's unit of measure.
struct CUnidadeMedida {
    bool bTempo = false; // measured in time: the quantity is decimal hours (1.5000 = 1 h 30)
    int nDecimais = 0;   // decimals shown otherwise
};

class CItemApontamento {
public:
    CItemApontamento() = default;
    CItemApontamento(const CItemApontamento&) = default;
    CItemApontamento& operator=(const CItemApontamento&) = default;
    explicit CItemApontamento(const _REG_ITEM_APONTAMENTO_PS& reg) { *this = reg; }
    CItemApontamento& operator=(const _REG_ITEM_APONTAMENTO_PS& reg);
    virtual ~CItemApontamento() = default;

    void GetSafeReg(_REG_ITEM_APONTAMENTO_PS& reg) const;
    // Every number, weight, time and quantity 0, the date empty.
    void Limpa() { *this = CItemApontamento(); }

    // Time units: hours and minutes ("%02d:%02d"), the minutes from the hundredths of an hour,
    // truncated (1.2599 shows 01:15); other units: the number with the unit's decimals.
    CTQString GetQuantidadeAsString(const CUnidadeMedida& unidade) const;

    ULONG GetServico() const { return m_servico; }
    void SetServico(ULONG servico) { m_servico = servico; }
    tagCY GetQuantidade() const { return m_quantidade; }
    void SetQuantidade(tagCY quantidade) { m_quantidade = quantidade; }
    ULONG GetExecutor() const { return m_executor; }
    void SetExecutor(ULONG executor) { m_executor = executor; }
    tagCY GetDescTotal() const { return m_descTotal; }
    void SetDescTotal(tagCY descTotal) { m_descTotal = descTotal; }
    CTQDma GetData() const { return m_data; }
    void SetData(CTQDma data) { m_data = data; }
    USHORT GetHoraInicial() const { return m_horaInicial; }
    void SetHoraInicial(USHORT hora) { m_horaInicial = hora; }
    USHORT GetHoraFinal() const { return m_horaFinal; }
    void SetHoraFinal(USHORT hora) { m_horaFinal = hora; }
    tagCY GetPesoEntrada() const { return m_pesoEntrada; }
    void SetPesoEntrada(tagCY peso) { m_pesoEntrada = peso; }
    tagCY GetPesoSaida() const { return m_pesoSaida; }
    void SetPesoSaida(tagCY peso) { m_pesoSaida = peso; }

private:
    ULONG m_servico = 0;
    tagCY m_quantidade{};
    ULONG m_executor = 0;
    tagCY m_descTotal{};
    CTQDma m_data;
    USHORT m_horaInicial = 0;
    USHORT m_horaFinal = 0;
    tagCY m_pesoEntrada{};
    tagCY m_pesoSaida{};
};
