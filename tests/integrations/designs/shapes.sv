// What a trace of Verilator's can hold, in all forms.
typedef enum logic [1:0] {IDLE, RUN, DONE} state_t;
typedef struct packed {logic [7:0] a; logic [3:0] b; logic c;} pair_t;

interface bus_if;
  logic valid;
  logic [15:0] data;
endinterface

module leaf #(parameter int W = 5) (input logic clk, input logic [W-1:0] d,
                                    output logic [W-1:0] q);
  always_ff @(posedge clk) q <= d;
endmodule

module shapes (input logic clk, input logic [69:0] seed, output logic [199:0] wide);
  state_t state;
  pair_t pair;
  logic [63:0] quad;
  logic [32:0] wider;
  logic [127:0] sparse;
  logic [4999:0] huge_bus;
  logic [7:0] many_words [0:39];
  real level;
  logic [7:0] memory [0:3];
  logic [0:7] upward;
  logic [0:0] one;
  integer n;
  longint negative;
  shortint short_number;
  logic \odd.name+1 ;
  logic _under;
  event tick;
  bus_if bus ();
  for (genvar g = 0; g < 3; g++) begin : lane
    wire [4+g:0] t;
    leaf #(5 + g) unit (.clk(clk), .d(quad[4+g:0]), .q(t));
  end
  initial begin
    n = 0; quad = 1; wide = 0; level = 0; negative = 0; sparse = 0; huge_bus = 0;
  end
  always_ff @(posedge clk) begin
    n <= n + 1;
    wide <= {wide[198:0], seed[69] ^ wide[199]} ^ {130'd0, seed};
    quad <= quad * 64'd6364136223846793005 + 64'd1442695040888963407;
    wider <= {wider[31:0], quad[9]};
    sparse[n[6:0]] <= quad[5];
    huge_bus <= {huge_bus[4899:0], quad[50:15], quad};
    many_words[n[5:0] % 40] <= quad[7:0];
    level <= 0.25 * n - 7.0;
    memory[n[1:0]] <= quad[15:8];
    upward <= quad[7:0];
    one <= quad[3];
    negative <= -64'(n);
    short_number <= quad[31:16];
    state <= state_t'(n[2:1]);
    pair <= quad[20:8];
    \odd.name+1 <= quad[9];
    _under <= quad[10];
    bus.valid <= quad[1];
    bus.data <= quad[30:15];
    if (n[1]) -> tick;
  end
endmodule
