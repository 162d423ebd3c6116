// Recording sinks: the trace records and events a test caused, kept for its assertions.
#pragma once

#include "tqlibex/diagnostics/EventoCom.h"
#include "tqlibex/diagnostics/GeLog.h"

#include <mutex>
#include <string>
#include <vector>

namespace tq::teste {

// A trace record's text is "bytes\tversion\tOS\tfile\tline\tmessage\t"; the message of a failed
// call starts with the expression.
inline std::string Campo(const CRegistroTrace& r, int n) {
    std::string texto = r.sTexto.GetString();
    for (int i = 0; i < n; ++i)
        texto = texto.substr(texto.find('\t') + 1);
    return n == 5 ? texto : texto.substr(0, texto.find('\t'));
}
inline std::string Mensagem(const CRegistroTrace& r) {
    return Campo(r, 5);
}
inline std::string Expressao(const CRegistroTrace& r) {
    return Campo(r, 5).substr(0, Campo(r, 5).find('\t'));
}

class GravadorTrace : public ISaidaTrace {
public:
    GravadorTrace() : m_escopo(*this) {}
    void Grava(const CRegistroTrace& r) override {
        std::lock_guard lock(m_mutex);
        registros.push_back(r);
    }
    // "function:expression" of every record.
    std::vector<std::string> Linhas() {
        std::lock_guard lock(m_mutex);
        std::vector<std::string> v;
        for (const CRegistroTrace& r : registros)
            v.push_back(std::string(r.sFuncao.GetString()) + ":" + Expressao(r));
        return v;
    }
    std::vector<CRegistroTrace> registros;

private:
    std::mutex m_mutex;
    CEscopoSaidaTrace m_escopo;
};

struct Evento {
    std::string fonte;
    WORD tipo;
    WORD categoria;
    DWORD id;
    std::string texto1, texto2;
};

class GravadorEventos : public IRegistroEventos {
public:
    GravadorEventos() : m_escopo(*this) {}
    void Reporta(const char* fonte, WORD tipo, WORD categoria, DWORD id, const char* t1,
                 const char* t2) override {
        std::lock_guard lock(m_mutex);
        eventos.push_back({fonte, tipo, categoria, id, t1, t2});
    }
    std::vector<Evento> eventos;

private:
    std::mutex m_mutex;
    CEscopoRegistroEventos m_escopo;
};

} // namespace tq::teste
