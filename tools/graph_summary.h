// The summary of a panorama graph that the graph and fetch commands print: vertices, placeholders,
// edges (and how many of them were inferred rather than given by the service), and the quad tree
// entries of each level.
#ifndef VISTARA_TOOLS_GRAPH_SUMMARY_H_
#define VISTARA_TOOLS_GRAPH_SUMMARY_H_

#include <json/json.h>

#include <ostream>

#include "spatial/pano_graph.h"

namespace vistara::cli {

// Adds "vertices", "placeholders", "edges", "inferred_edges" and "trees" (entries by level id) to
// `root`, and writes the same as text lines to `out`. Reads the graph without its lock: nothing may
// write the graph meanwhile.
void SummarizeGraph(const spatial::PanoGraph& graph, Json::Value* root, std::ostream& out);

}  // namespace vistara::cli

#endif  // VISTARA_TOOLS_GRAPH_SUMMARY_H_
