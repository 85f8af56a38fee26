// The cheapest way to make a statement fit its grammar, as a shortest path: a state is how much of the statement has
// been read and what the grammar still expects, and each step reads, leaves out or puts in one symbol, or opens a
// non-terminal.

#include "services/parsing_grammar.h"

#include <algorithm>
#include <map>
#include <queue>
#include <tuple>

namespace vor {
namespace {

// A grammar that refers to itself can make the search as long as its costs allow; this ends it.
constexpr size_t most_states = 50'000;

struct State {
    size_t next;                // token
    std::vector<int16_t> stack; // without actions
    bool operator<(const State &other) const { return std::tie(next, stack) < std::tie(other.next, other.stack); }
};

enum class Step { start, open, read, leave_out, put_in };

struct Node {
    State state;
    int32_t cost;
    int32_t insertions;
    size_t parent;
    Step step;
    int16_t symbol; // put in: a terminal, or a non-terminal with its stand-in
};

class Search {
  public:
    Search(const Grammar &grammar, std::span<const Token> tokens) : grammar_(grammar), tokens_(tokens) {}

    std::optional<Repair> run() {
        add({{0, {grammar_.goal()}}, 0, 0, 0, Step::start, 0});
        while (!queue_.empty() && nodes_.size() < most_states) {
            const size_t index = std::get<2>(queue_.top());
            queue_.pop();
            const Node node = nodes_[index];
            if (best_.at(node.state) != index)
                continue;
            if (node.state.stack.empty())
                return repair(index);
            expand(index, node);
        }
        return std::nullopt;
    }

  private:
    void add(Node node) {
        const PARSECONTROL &control = grammar_.control();
        if (node.cost > control.valcost || node.insertions > control.inslen ||
            node.state.stack.size() > static_cast<size_t>(control.maxprslsz))
            return;
        const auto [known, fresh] = best_.try_emplace(node.state, nodes_.size());
        if (!fresh && nodes_[known->second].cost <= node.cost)
            return;
        known->second = nodes_.size();
        queue_.emplace(node.cost, node.insertions, nodes_.size());
        nodes_.push_back(std::move(node));
    }

    Node child(size_t index, const Node &node, Step step, int16_t symbol) const {
        Node next = node;
        next.parent = index;
        next.step = step;
        next.symbol = symbol;
        return next;
    }

    void expand(size_t index, const Node &node) {
        const int16_t symbol = node.state.stack.back();
        const Token &token = tokens_[node.state.next];
        if (grammar_.is_terminal(symbol) && grammar_.fits(token, symbol)) {
            Node read = child(index, node, Step::read, symbol);
            read.state.stack.pop_back();
            ++read.state.next;
            add(std::move(read));
        }
        if (!grammar_.is_terminal(symbol))
            open(index, node, symbol);
        if (grammar_.insertion_cost(symbol) < grammar_.control().maxcost)
            put_in(index, node, symbol);
        const int32_t deletion = grammar_.deletion_cost(grammar_.terminal(token.type));
        if (deletion < grammar_.control().maxcost) {
            Node left_out = child(index, node, Step::leave_out, 0);
            left_out.cost += deletion;
            ++left_out.state.next;
            add(std::move(left_out));
        }
    }

    // Every production, not only the one that the next token asks for: what it begins with may be put in.
    void open(size_t index, const Node &node, int16_t symbol) {
        for (int16_t production = 1; production <= grammar_.control().productions; ++production) {
            if (grammar_.left_side(production) != symbol)
                continue;
            Node opened = child(index, node, Step::open, symbol);
            opened.state.stack.pop_back();
            for (const int16_t part : grammar_.right_side(production))
                if (part > 0)
                    opened.state.stack.push_back(part);
            add(std::move(opened));
        }
    }

    void put_in(size_t index, const Node &node, int16_t symbol) {
        Node filled = child(index, node, Step::put_in, symbol);
        filled.state.stack.pop_back();
        filled.cost += grammar_.insertion_cost(symbol);
        filled.insertions += grammar_.is_terminal(symbol) ? 1 : static_cast<int32_t>(grammar_.insertion(symbol).size());
        add(std::move(filled));
    }

    Repair repair(size_t index) const {
        std::vector<size_t> path;
        for (size_t at = index; nodes_[at].step != Step::start; at = nodes_[at].parent)
            path.push_back(at);
        std::ranges::reverse(path);
        Repair found{nodes_[index].cost, {}, {}};
        size_t next = 0;
        for (const size_t at : path)
            apply(nodes_[at], next, found);
        return found;
    }

    void apply(const Node &node, size_t &next, Repair &found) const {
        if (node.step == Step::read) {
            found.tokens.push_back(tokens_[next++]);
        } else if (node.step == Step::leave_out) {
            found.edits.push_back({.insertion = false, .token = next++, .terminal = 0});
        } else if (node.step == Step::put_in) {
            const bool terminal = grammar_.is_terminal(node.symbol);
            const Grammar::Symbols one(&node.symbol, 1);
            for (const int16_t symbol : terminal ? one : grammar_.insertion(node.symbol)) {
                found.edits.push_back({.insertion = true, .token = next, .terminal = symbol});
                found.tokens.push_back(inserted(symbol, tokens_[next].position));
            }
        }
    }

    Token inserted(int16_t terminal, size_t position) const {
        int16_t type = 1;
        while (grammar_.terminal(type) != terminal)
            ++type;
        return {.type = type, .word = false, .position = position, .text = {}, .names = {}};
    }

    using Entry = std::tuple<int32_t, int32_t, size_t>; // cost, insertions, node

    const Grammar &grammar_;
    std::span<const Token> tokens_;
    std::vector<Node> nodes_;
    std::map<State, size_t> best_;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue_;
};

} // namespace

std::optional<Repair> cheapest_repair(const Grammar &grammar, std::span<const Token> tokens) {
    return Search(grammar, tokens).run();
}

} // namespace vor
