// The billing run's files on disk: the journal (notas.jsonl), one line per finished contract,
// only ever appended and synced in small batches, so that a run killed at any moment (a signal, a
// power cut, a full disk) leaves whole lines followed at most by a torn one; and the files written
// whole at the end (lote.json, resumo.csv, divergencias.csv), which appear complete or not at all.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tq::calc {

// A file that could not be written or read back (the text, in Portuguese, names it and why).
class CErroDeDisco : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class CDiario {
public:
    CDiario() = default;
    ~CDiario();
    CDiario(const CDiario&) = delete;
    CDiario& operator=(const CDiario&) = delete;

    struct CRecuperacao {
        std::size_t nLinhas = 0;      // whole lines kept
        std::size_t nDescartadas = 0; // lines dropped from the first bad one on
        std::uint64_t nBytesDescartados = 0;
    };

    // Opens the journal for appending, creating it if need be. The lines already there go, in
    // order, through `le` (line without its end, 1-based number): true keeps it; false marks the
    // line a crash cut short, and the file is cut back to the end of the line before it (with
    // everything after it). A last line without its line end is cut without being asked.
    // `le` may throw to refuse the file altogether.
    CRecuperacao Abre(const std::string& caminho,
                      const std::function<bool(std::string_view, std::size_t)>& le);
    // Appends, to the operating system (not yet to the disk).
    void Acrescenta(std::string_view texto);
    // To the disk.
    void Sincroniza();
    void Fecha();

private:
    std::string m_caminho;
    int m_fd = -1;
};

// A run's hold on its folder: while one is held, a second run of the same folder (a job started
// twice, a scheduler's retry) is refused instead of billing every contract again beside it. The
// operating system lets go of it when the process ends, however it ends.
class CTrava {
public:
    CTrava() = default;
    ~CTrava();
    CTrava(const CTrava&) = delete;
    CTrava& operator=(const CTrava&) = delete;
    // False when another process holds the folder; throws CErroDeDisco when the file cannot be
    // made.
    bool Tranca(const std::string& caminho);

private:
    int m_fd = -1;
};

// The usual reasons a file operation fails, in Portuguese (errno's value).
std::string Motivo(int erro);

// Puts a file written whole in place of `caminho`, replacing what was there, durably.
void Substitui(const std::string& temporario, const std::string& caminho);

// Writes a file whole: into a temporary beside it, to the disk, then renamed over the old one.
// On failure the temporary goes and the old file stays.
void GravaArquivoInteiro(const std::string& caminho, std::string_view texto);

// Why a statement could not be written at `caminho` (empty: it can), tried without touching a
// file already there; `cenario` is the input, which it must not replace.
std::string CaminhoDoExtratoRuim(const std::string& caminho, const std::string& cenario);

} // namespace tq::calc
