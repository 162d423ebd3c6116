// Recording sinks: the trace records and events a test caused, kept for its assertions.
#pragma once

#include "tqlibex/EventoCom.h"
#include "tqlibex/GeLog.h"

#include <mutex>
#include <string>
#include <vector>

namespace tq::teste {

class GravadorTrace : public ISaidaTrace {
public:
    GravadorTrace() : m_escopo(*this) {}
    void Grava(const CRegistroTrace& r) override {
        std::lock_guard lock(m_mutex);
        registros.push_back(r);
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
