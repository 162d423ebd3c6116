// CGeInicializa: the base of objects that open their server connections on first use. The owner
// calls Inicializa before using the object; it runs OnInicializa once. A failing OnInicializa
// throws its HRESULT (as long) and leaves the object uninitialised, so a later Inicializa tries
// again.
#pragma once

class CGeInicializa {
public:
    CGeInicializa() = default;
    CGeInicializa(const CGeInicializa&) = delete;
    CGeInicializa& operator=(const CGeInicializa&) = delete;
    virtual ~CGeInicializa() = default;

    void Inicializa() {
        if (m_bInicializado)
            return;
        OnInicializa();
        m_bInicializado = true;
    }
    bool IsInicializado() const { return m_bInicializado; }

protected:
    virtual void OnInicializa() = 0;

private:
    bool m_bInicializado = false;
};
