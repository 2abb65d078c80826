// What a two-state simulator writes: packed structs, enums, arrays, wide values.
module two_states;
  typedef enum logic [1:0] {IDLE, RUN, STOP} state_t;
  typedef struct packed { logic [3:0] high; logic [3:0] low; } pair_t;
  logic clk = 0;
  state_t state = IDLE;
  pair_t pair = 0;
  logic [7:0] memory [4];
  logic [127:0] wide = 1;
  real level = 0.5;
  int i = 0;
  generate
    for (genvar g = 0; g < 2; g++) begin : lane
      logic [g+1:0] value = 0;
      always @(posedge clk) value <= value + 1;
    end
  endgenerate

  always #5 clk = ~clk;
  always @(posedge clk) begin
    i = i + 1;
    state <= state == STOP ? IDLE : state_t'(state + 1);
    pair.high <= pair.low;
    pair.low <= pair.low + 3;
    memory[i % 4] <= i[7:0];
    wide <= {wide[126:0], wide[127] ^ wide[3]};
    level = level * -1.5;
    if (i == 50) $finish;
  end
  initial begin
    $dumpfile("two_states.vcd");
    $dumpvars;
  end
endmodule
