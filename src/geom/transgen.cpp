#include "geom/transgen.h"

#include <proj.h>

#include <cmath>
#include <new>
#include <utility>

#include "geom/projcontext.h"

namespace tarnvale {

namespace {

bool Invert(const GeoTransform& t, GeoTransform& out) {
    const double determinant = t.xColumn * t.yRow - t.xRow * t.yColumn;
    if (!std::isfinite(determinant) || determinant == 0.0) return false;
    const double scale = 1.0 / determinant;
    GeoTransform inverse;
    inverse.xColumn = t.yRow * scale;
    inverse.xRow = -t.xRow * scale;
    inverse.yColumn = -t.yColumn * scale;
    inverse.yRow = t.xColumn * scale;
    inverse.xOrigin = -(inverse.xColumn * t.xOrigin + inverse.xRow * t.yOrigin);
    inverse.yOrigin = -(inverse.yColumn * t.xOrigin + inverse.yRow * t.yOrigin);
    for (const double value : {inverse.xOrigin, inverse.xColumn, inverse.xRow, inverse.yOrigin,
                               inverse.yColumn, inverse.yRow}) {
        if (!std::isfinite(value)) return false;
    }
    out = inverse;
    return true;
}

void Apply(const GeoTransform& t, double& x, double& y) {
    const double column = x, row = y;
    x = t.xOrigin + column * t.xColumn + row * t.xRow;
    y = t.yOrigin + column * t.yColumn + row * t.yRow;
}

Status BadGrid() {
    return _SetErrPosn(StatusCode::BadState, "the georeference gives all cells one place");
}

}  // namespace

struct TransGen::State {
    GeoTransform grid, gridInverse{0, 1, 0, 0, 0, -1};
    COORDREFSYS input, output;
    bool toGrid = false;  // the forward conversion ends in another raster's pixels
    GeoTransform outputGrid, outputGridInverse;
    ProjContext context;    // before `conversion`, which lives in it
    ProjObject conversion;  // null where both systems are one

    State() = default;
    State(const State& other)
        : grid(other.grid),
          gridInverse(other.gridInverse),
          input(other.input),
          output(other.output),
          toGrid(other.toGrid),
          outputGrid(other.outputGrid),
          outputGridInverse(other.outputGridInverse) {
        if (other.conversion == nullptr) return;
        context = NewProjContext();
        conversion.reset(proj_clone(context.get(), other.conversion.get()));
        if (conversion == nullptr) throw std::bad_alloc();
    }
    State& operator=(const State&) = delete;
    ~State() = default;

    // @return false, nothing changed, if no conversion leads to `system`
    bool SetOutput(const COORDREFSYS& system) {
        if (system.Wkt() == output.Wkt()) return true;
        if (system.Valid() != input.Valid()) return false;
        if (input.Equivalent(system)) {
            conversion.reset();
            context.reset();
        } else {
            ProjContext newContext = NewProjContext();
            ProjObject made = NewConversion(newContext.get(), input.Wkt(), system.Wkt());
            if (made == nullptr) return false;
            conversion = std::move(made);
            context = std::move(newContext);
        }
        output = system;
        return true;
    }

    bool Convert(PJ_DIRECTION direction, double& x, double& y) const {
        if (conversion == nullptr) return std::isfinite(x) && std::isfinite(y);
        const PJ_COORD from = proj_coord(x, y, 0.0, HUGE_VAL);
        const PJ_COORD to = proj_trans(conversion.get(), direction, from);
        if (!std::isfinite(to.xy.x) || !std::isfinite(to.xy.y)) {
            proj_errno_reset(conversion.get());
            return false;
        }
        x = to.xy.x;
        y = to.xy.y;
        return true;
    }
};

TransGen::TransGen() : state_(std::make_unique<State>()) {}
TransGen::TransGen(const TransGen& other) : state_(std::make_unique<State>(*other.state_)) {}
TransGen& TransGen::operator=(const TransGen& other) {
    if (this != &other) state_ = std::make_unique<State>(*other.state_);
    return *this;
}
TransGen::TransGen(TransGen&&) noexcept = default;
TransGen& TransGen::operator=(TransGen&&) noexcept = default;
TransGen::~TransGen() = default;

const GeoTransform& TransGen::Grid() const {
    return state_->grid;
}
const COORDREFSYS& TransGen::InputCoordRefSys() const {
    return state_->input;
}
const COORDREFSYS& TransGen::OutputCoordRefSys() const {
    return state_->output;
}

Status TransGenInit(TransGen& transform, const GeoTransform& grid, const COORDREFSYS& system) {
    auto state = std::make_unique<TransGen::State>();
    if (!Invert(grid, state->gridInverse)) return BadGrid();
    state->grid = grid;
    state->input = system;
    state->output = system;
    transform.state_ = std::move(state);
    return StatusCode::Ok;
}

Status TransGenSetOutputMapCoordRefSys(TransGen& transform, const COORDREFSYS& system) {
    if (!transform.state_->SetOutput(system)) {
        return _SetErrPosn(StatusCode::BadState, "no conversion leads from \"" +
                                                     transform.state_->input.Name() + "\" to \"" +
                                                     system.Name() + "\"");
    }
    transform.state_->toGrid = false;
    return StatusCode::Ok;
}

Status TransGenSetOutputGrid(TransGen& transform, const GeoTransform& grid,
                             const COORDREFSYS& system) {
    GeoTransform inverse;
    if (!Invert(grid, inverse)) return BadGrid();
    if (const Status set = TransGenSetOutputMapCoordRefSys(transform, system); !set.Good()) {
        return set;
    }
    transform.state_->toGrid = true;
    transform.state_->outputGrid = grid;
    transform.state_->outputGridInverse = inverse;
    return StatusCode::Ok;
}

Status TransGenConvPointFwd(const TransGen& transform, double& x, double& y) {
    const TransGen::State& state = *transform.state_;
    double toX = x, toY = y;
    Apply(state.grid, toX, toY);
    if (!state.Convert(PJ_FWD, toX, toY)) {
        return _SetErrPosn(StatusCode::BadState, "a place that the map's system doesn't reach");
    }
    if (state.toGrid) Apply(state.outputGridInverse, toX, toY);
    x = toX;
    y = toY;
    return StatusCode::Ok;
}

Status TransGenConvPointInv(const TransGen& transform, double& x, double& y) {
    const TransGen::State& state = *transform.state_;
    double toX = x, toY = y;
    if (state.toGrid) Apply(state.outputGrid, toX, toY);
    if (!state.Convert(PJ_INV, toX, toY)) {
        return _SetErrPosn(StatusCode::BadState, "a place that the grid's system doesn't reach");
    }
    Apply(state.gridInverse, toX, toY);
    x = toX;
    y = toY;
    return StatusCode::Ok;
}

}  // namespace tarnvale
