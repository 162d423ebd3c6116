#include "followup/Apontamento.h"

#include <cstring>

CApontamento& CApontamento::operator=(const _REG_APONTAMENTO_PS& reg) {
    m_ma = reg.ma;
    m_ponteiro = reg.ponteiro;
    m_filial = 0;
    m_cliente = 0;
    m_pontContr = reg.pontContr;
    m_apontamento = tq::TextoDoCampo(reg.apontamento, sizeof reg.apontamento);
    m_listarNF = reg.listarNF == 1;
    m_motorista = reg.motorista;
    m_placa = reg.placa;
    m_municipio = reg.municipio;
    m_residuos = tq::TextoDoCampo(reg.residuos, sizeof reg.residuos);
    m_itens.RemoveAll();
    if (reg.itens)
        for (ULONG i = 0; i < reg.qtdItens; ++i)
            m_itens.Add(CItemApontamento(reg.itens[i]));
    return *this;
}

void CApontamento::GetSafeReg(
    _REG_APONTAMENTO_PS& reg,
    CGeArrayEx<_REG_ITEM_APONTAMENTO_PS, const _REG_ITEM_APONTAMENTO_PS&>& itens) const {
    std::memset(&reg, 0, sizeof reg);
    reg.ma = m_ma;
    reg.ponteiro = m_ponteiro;
    reg.pontContr = m_pontContr;
    tq::TextoParaCampo(reg.apontamento, sizeof reg.apontamento, m_apontamento);
    reg.listarNF = m_listarNF ? 1 : 0;
    reg.motorista = m_motorista;
    reg.placa = m_placa;
    reg.municipio = m_municipio;
    tq::TextoParaCampo(reg.residuos, sizeof reg.residuos, m_residuos);
    reg.qtdItens = static_cast<ULONG>(m_itens.GetSize());
    itens.RemoveAll();
    for (const CItemApontamento& item : m_itens) {
        _REG_ITEM_APONTAMENTO_PS r;
        item.GetSafeReg(r);
        itens.Add(r);
    }
}

bool CApontamento::TaLimpo() const {
    return m_ponteiro == 0 && m_ma == 0 && m_filial == 0 && m_cliente == 0 && m_pontContr == 0 &&
           m_apontamento.IsEmpty() && m_itens.IsEmpty() && m_motorista == 0 && m_placa == 0 &&
           m_residuos.IsEmpty() && m_municipio == 0;
}

CTQString CApontamento::GetCodigo() const {
    CTQString codigo;
    codigo.Format("%s-%u", GetMa().Formata().GetString(), static_cast<unsigned>(m_ponteiro));
    return codigo;
}

CTQString CApontamento::toString() const {
    CTQString texto;
    texto.Format("Pos=%d, Pont=%d, Ma=%d, Filial=%d, Cliente=%d, PontContr=%d, Apont=%s, "
                 "ListarNF=%d",
                 static_cast<int>(m_ponteiro), static_cast<int>(m_ponteiro), static_cast<int>(m_ma),
                 static_cast<int>(m_filial), static_cast<int>(m_cliente),
                 static_cast<int>(m_pontContr), m_apontamento.GetString(), m_listarNF ? 1 : 0);
    return texto;
}
